#pragma once

#include <filesystem>

namespace kyv::host {

// A file that appears under its name only when it is complete: it is written under a temporary name beside
// it, which is removed again on failure, on destruction without commit(), and when the user interrupts the
// program.
class OutputFile {
 public:
  // Throws Error when the folder does not exist or the target is a folder.
  explicit OutputFile(std::filesystem::path target);
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
