#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "error.h"
#include "platform.h"

namespace kyv::host {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

inline FileHandle open_file(const std::filesystem::path& name, const char* mode) {
  FileHandle file(platform::open_file(name, mode));
  if (!file) throw Error(std::string("cannot be opened: ") + std::strerror(errno));
  return file;
}

// Closes a written file. Throws Error when something could not be stored (a full disk, for instance).
inline void close_written(FileHandle file) {
  const bool failed = std::ferror(file.get()) != 0;
  if (std::fclose(file.release()) != 0 || failed)
    throw Error("could not be written completely; is the disk full?");
}

}  // namespace kyv::host
