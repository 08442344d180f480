#include <filesystem>

#include "cli.h"

// Makes the start-up code expand * and ? in arguments, which the command prompt leaves to the program.
extern "C" int _dowildcard;
int _dowildcard = -1;

extern "C" int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) {
    const auto utf8 = std::filesystem::path(argv[i]).u8string();
    arguments.emplace_back(utf8.begin(), utf8.end());
  }
  return kyv::host::run_command_line(std::move(arguments));
}
