#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "cli.h"
#include "commands/commands.h"
#include "error.h"
#include "platform.h"

namespace kyv::host {
namespace {

int run(std::vector<std::string> arguments) {
  CommonOptions common;
  std::string library;
  Action action;
  CLI::App app(
      "Resize pictures and convert between point-spread and optical transfer functions with KyvMath.",
      "kyvmath");
  // A leading slash begins a path, on Windows too.
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", "kyvmath " KYVMATH_VERSION);
  app.add_option("--library", library, "The library to load (default: beside the program, then the system's)")
      ->type_name("PATH");
  app.add_flag("--json", common.json, "Print results as JSON on standard output");
  app.footer(
      "Exit status: 0 all done; 1 some files failed; 2 the command line asks for what cannot be; 3 the "
      "library\n"
      "cannot be loaded. 'kyvmath COMMAND --help' tells more about a command.");
  add_resize_command(app, common, action);
  add_otf_command(app, common, action);
  add_psf_command(app, common, action);
  add_blur_command(app, common, action);
  add_deblur_command(app, common, action);
  add_info_command(app, common, action);

  try {
    std::reverse(arguments.begin(), arguments.end());
    app.parse(std::move(arguments));
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "kyvmath: %s\nTry 'kyvmath --help'.\n", error.what());
    return kBadUsage;
  }

  if (!library.empty()) common.library = to_path(library);
  try {
    return action();
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
  return run(std::move(arguments));
}

}  // namespace kyv::host
