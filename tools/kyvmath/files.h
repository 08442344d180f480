#pragma once

#include <filesystem>
#include <optional>

namespace kyv::host {

// Whether the name is "-", or that of a pipe or a device.
bool is_stream(const std::filesystem::path& name);

// A name for a file that is removed again unless it was renamed: on destruction, and when the user interrupts
// the program.
class TemporaryFile {
 public:
  // Beside the file; or, without one, where the system keeps such files.
  explicit TemporaryFile(std::filesystem::path beside = {});
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  int slot_ = -1;
};

// A file to read, which may be "-" (standard input), a pipe or a device: such a one is first copied to a
// temporary file, because the decoders go back and forth.
class InputFile {
 public:
  // Throws Error when there is nothing to read.
  explicit InputFile(const std::filesystem::path& name);

  // What to open.
  const std::filesystem::path& path() const { return copy_ ? copy_->path() : name_; }

 private:
  std::filesystem::path name_;
  std::optional<TemporaryFile> copy_;
};

// A file that appears under its name only when it is complete: it is written under a temporary name beside
// it. A file that is replaced keeps its permissions, and a symbolic link to it stays one. What goes to "-"
// (standard output), a pipe or a device is copied there when it is complete.
class OutputFile {
 public:
  // Throws Error when the folder does not exist or the target is a folder.
  explicit OutputFile(const std::filesystem::path& target);

  const std::filesystem::path& temporary() const { return temporary_->path(); }

  // Replaces the target. Throws Error.
  void commit();

 private:
  std::filesystem::path target_;
  std::optional<TemporaryFile> temporary_;
};

}  // namespace kyv::host
