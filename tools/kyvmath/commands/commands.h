#pragma once

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

namespace kyv::host {

class CommandLine;

enum ExitStatus { kSuccess = 0, kSomeFailed = 1, kBadUsage = 2, kNoLibrary = 3 };

// Options that every command has.
struct CommonOptions {
  std::string library;
  bool json = false;
};

// What the chosen command does once its options are known.
using Action = std::function<ExitStatus()>;

void add_resize_command(CommandLine& program, const CommonOptions& common);
void add_otf_command(CommandLine& program, const CommonOptions& common);
void add_psf_command(CommandLine& program, const CommonOptions& common);
void add_blur_command(CommandLine& program, const CommonOptions& common);
void add_deblur_command(CommandLine& program, const CommonOptions& common);
void add_info_command(CommandLine& program, const CommonOptions& common);

// A file name as the command line gives it, in UTF-8.
inline std::filesystem::path to_path(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

// Loads the library; its failure has an exit status of its own.
class NoLibrary : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace kyv::host
