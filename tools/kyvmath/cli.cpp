#include "cli.h"

#include <cstdio>
#include <exception>
#include <new>

#include "commands/arguments.h"
#include "commands/commands.h"
#include "error.h"
#include "platform.h"

namespace kyv::host {
namespace {

int run(const CommandLine& command_line) {
  try {
    return command_line.chosen()();
  } catch (const UsageError& error) {
    std::fprintf(stderr, "kyvmath: %s\n", error.what());
    return kBadUsage;
  } catch (const NoLibrary& error) {
    std::fprintf(stderr, "kyvmath: %s\n", error.what());
    return kNoLibrary;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "kyvmath: not enough memory\n");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kyvmath: %s\n", error.what());
  }
  return kSomeFailed;
}

}  // namespace

int run_command_line(std::vector<std::string> arguments) {
  platform::use_utf8_console();
  CommonOptions common;
  CommandLine command_line;
  Arguments options = command_line.common();
  options.text("--library", common.library,
               "The library to load (default: beside the program, then the system's)", "PATH");
  options.flag("--json", common.json, "Print results as JSON on standard output");
  add_resize_command(command_line, common);
  add_otf_command(command_line, common);
  add_psf_command(command_line, common);
  add_blur_command(command_line, common);
  add_deblur_command(command_line, common);
  add_info_command(command_line, common);
  if (const auto status = command_line.parse(std::move(arguments))) return *status;
  return run(command_line);
}

}  // namespace kyv::host
