#include "output_file.h"

#include <atomic>
#include <string>

#include "error.h"
#include "platform.h"

namespace kyv::host {
namespace {

std::atomic<unsigned> next_number{0};

}  // namespace

OutputFile::OutputFile(std::filesystem::path target) : target_(std::move(target)) {
  const auto folder = target_.has_parent_path() ? target_.parent_path() : std::filesystem::path(".");
  std::error_code ignored;
  if (!std::filesystem::is_directory(folder, ignored)) throw Error("the folder to write to does not exist");
  if (std::filesystem::is_directory(target_, ignored)) throw Error("is a folder; name a file to write");

  temporary_ = target_;
  temporary_ += '.';
  temporary_ += std::to_string(platform::process_id());
  temporary_ += '-';
  temporary_ += std::to_string(next_number++);
  temporary_ += ".tmp";
  slot_ = platform::remove_on_interrupt(temporary_);
}

OutputFile::~OutputFile() {
  if (!committed_) {
    std::error_code ignored;
    std::filesystem::remove(temporary_, ignored);
  }
  platform::keep_on_interrupt(slot_);
}

void OutputFile::commit() {
  std::error_code failure;
  std::filesystem::rename(temporary_, target_, failure);
  if (failure) throw Error("cannot be replaced: " + failure.message());
  committed_ = true;
}

}  // namespace kyv::host
