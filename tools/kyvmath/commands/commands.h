#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace kyv::host {

using Json = nlohmann::ordered_json;

enum ExitStatus { kSuccess = 0, kSomeFailed = 1, kBadUsage = 2, kNoLibrary = 3 };

// Options that every command has.
struct CommonOptions {
  std::optional<std::filesystem::path> library;
  bool json = false;
};

// What the chosen command does; set by the parser, run by main.
using Action = std::function<ExitStatus()>;

void add_resize_command(CLI::App& app, const CommonOptions& common, Action& action);
void add_otf_command(CLI::App& app, const CommonOptions& common, Action& action);
void add_psf_command(CLI::App& app, const CommonOptions& common, Action& action);
void add_blur_command(CLI::App& app, const CommonOptions& common, Action& action);
void add_deblur_command(CLI::App& app, const CommonOptions& common, Action& action);
void add_info_command(CLI::App& app, const CommonOptions& common, Action& action);

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
