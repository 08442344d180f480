#include "files.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "error.h"
#include "file_handle.h"
#include "image_io.h"
#include "platform.h"

namespace kyv::host {
namespace {

namespace fs = std::filesystem;

// Copies all there is. Throws Error.
void copy_stream(std::FILE* from, std::FILE* to) {
  std::array<char, 1 << 16> block{};
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), from)) {
    if (std::fwrite(block.data(), 1, count, to) != count) break;
  }
  if (std::ferror(from) != 0) throw Error(std::string("cannot be read: ") + std::strerror(errno));
  if (std::fflush(to) != 0 || std::ferror(to) != 0) {
    throw Error(std::string("could not be written completely: ") + std::strerror(errno));
  }
}

void copy_from_stream(const fs::path& name, const fs::path& file) {
  const FileHandle out = open_file(file, "wb");
  if (is_standard_stream(name)) return copy_stream(platform::binary_standard_input(), out.get());
  copy_stream(open_file(name, "rb").get(), out.get());
}

void copy_to_stream(const fs::path& file, const fs::path& name) {
  const FileHandle in = open_file(file, "rb");
  if (is_standard_stream(name)) return copy_stream(in.get(), platform::binary_standard_output());
  copy_stream(in.get(), open_file(name, "wb").get());
}

}  // namespace

bool is_stream(const fs::path& name) {
  std::error_code ignored;
  const auto status = fs::status(name, ignored);
  return is_standard_stream(name) ||
         (fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status));
}

TemporaryFile::TemporaryFile(fs::path beside) : path_(std::move(beside)) {
  static std::atomic<unsigned> next_number{0};
  std::error_code failure;
  if (path_.empty()) path_ = fs::temp_directory_path(failure) / "kyvmath";
  if (failure) throw Error("there is no folder for temporary files: " + failure.message());
  path_ += '.' + std::to_string(platform::process_id()) + '-' + std::to_string(next_number++) + ".tmp";
  slot_ = platform::remove_on_interrupt(path_);
}

TemporaryFile::~TemporaryFile() {
  std::error_code ignored;
  fs::remove(path_, ignored);
  platform::keep_on_interrupt(slot_);
}

InputFile::InputFile(const fs::path& name) : name_(name) {
  if (is_stream(name)) {
    copy_.emplace();
    copy_from_stream(name, copy_->path());
    return;
  }
  std::error_code failure;
  const auto status = fs::status(name, failure);
  if (status.type() == fs::file_type::not_found) throw Error("no such file");
  if (!fs::exists(status)) throw Error("cannot be opened for reading: " + failure.message());
  if (fs::is_directory(status)) throw Error("is a folder, not a picture");
}

OutputFile::OutputFile(const fs::path& target) : target_(target) {
  std::error_code ignored;
  if (is_stream(target_)) {
    temporary_.emplace();
    return;
  }
  if (fs::is_symlink(target_, ignored)) {
    const fs::path linked = fs::weakly_canonical(target_, ignored);
    if (!linked.empty()) target_ = linked;
  }
  const auto folder = target_.has_parent_path() ? target_.parent_path() : fs::path(".");
  if (!fs::is_directory(folder, ignored)) throw Error("the folder to write to does not exist");
  if (fs::is_directory(target_, ignored)) throw Error("is a folder; name a file to write");
  temporary_.emplace(target_);
}

void OutputFile::commit() {
  if (is_stream(target_)) return copy_to_stream(temporary(), target_);
  std::error_code failure;
  const auto replaced = fs::status(target_, failure);
  if (fs::exists(replaced)) fs::permissions(temporary(), replaced.permissions(), failure);
  fs::rename(temporary(), target_, failure);
  if (failure) throw Error("cannot be replaced: " + failure.message());
}

}  // namespace kyv::host
