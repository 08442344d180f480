#pragma once

#include <filesystem>

namespace kyv::host {

// Whether the name is "-", or that of a pipe or a device.
bool is_stream(const std::filesystem::path& name);

// A file to read, which may be "-" (standard input), a pipe or a device: such a one is first copied to a
// temporary file, because the decoders go back and forth.
class InputFile {
 public:
  // Throws Error when there is nothing to read.
  explicit InputFile(const std::filesystem::path& name);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // What to open.
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  bool is_copy_ = false;
  int slot_ = -1;
};

// A file that appears under its name only when it is complete: it is written under a temporary name beside
// it, which is removed again on failure, on destruction without commit(), and when the user interrupts the
// program. A file that is replaced keeps its permissions, and a symbolic link to it stays one. What goes to
// "-" (standard output), a pipe or a device is copied there when it is complete.
class OutputFile {
 public:
  // Throws Error when the folder does not exist or the target is a folder.
  explicit OutputFile(const std::filesystem::path& target);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  const std::filesystem::path& temporary() const { return temporary_; }

  // Replaces the target. Throws Error.
  void commit();

 private:
  std::filesystem::path target_;
  std::filesystem::path temporary_;
  int slot_ = -1;
  bool committed_ = false;
};

}  // namespace kyv::host
