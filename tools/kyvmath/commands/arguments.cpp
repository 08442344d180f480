#include "arguments.h"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace kyv::host {
namespace {

void describe(CLI::Option* option, const std::string& group, const std::string& type) {
  option->type_name(type);
  if (!group.empty()) option->group(group);
}

template <typename Number>
void add_number(CLI::App& app, const std::string& group, const std::string& name, Number& value,
                const std::string& help, const std::string& type, Number low, Number high) {
  CLI::Option* option = app.add_option(name, value, help)->check(CLI::Range(low, high));
  describe(option, group, type);
  if (value != 0) option->capture_default_str();
}

}  // namespace

void Arguments::positional(const std::string& name, std::string& value, const std::string& help,
                           const std::string& type) {
  app_.add_option(name, value, help)->required()->type_name(type);
}

void Arguments::positionals(std::vector<std::string>& values, const std::string& help, int least, int most) {
  CLI::Option* option = app_.add_option("files", values, help);
  if (least > 0) option->required();
  if (most > 0) option->expected(least, most);
}

void Arguments::text(const std::string& name, std::string& value, const std::string& help,
                     const std::string& type) {
  CLI::Option* option = app_.add_option(name, value, help);
  describe(option, group_, type);
  if (!value.empty()) option->capture_default_str();
}

void Arguments::number(const std::string& name, double& value, const std::string& help,
                       const std::string& type, double low, double high) {
  add_number(app_, group_, name, value, help, type, low, high);
}

void Arguments::integer(const std::string& name, int& value, const std::string& help, const std::string& type,
                        int low, int high) {
  add_number(app_, group_, name, value, help, type, low, high);
}

void Arguments::choice(const std::string& name, std::string& value, const std::string& help,
                       const std::vector<std::string>& choices) {
  CLI::Option* option = app_.add_option(name, value, help)->check(CLI::IsMember(choices).description(""));
  describe(option, group_, CLI::detail::join(choices, "|"));
  if (!value.empty()) option->capture_default_str();
}

void Arguments::flag(const std::string& name, bool& value, const std::string& help) {
  CLI::Option* option = app_.add_flag(name, value, help);
  if (!group_.empty()) option->group(group_);
}

CommandLine::CommandLine()
    : app_(std::make_unique<CLI::App>(
          "Resize pictures and convert between point-spread and optical transfer functions with KyvMath.",
          "kyvmath")) {
  // A leading slash begins a path, on Windows too.
  app_->allow_windows_style_options(false);
  app_->require_subcommand(1);
  app_->fallthrough();
  app_->set_version_flag("--version", "kyvmath " KYVMATH_VERSION);
  app_->footer(
      "Exit status: 0 all done; 1 some files failed; 2 the command line asks for what cannot be; 3 the "
      "library\n"
      "cannot be loaded. 'kyvmath COMMAND --help' tells more about a command.");
}

CommandLine::~CommandLine() = default;

Arguments CommandLine::common() { return Arguments(*app_); }

Arguments CommandLine::command(const std::string& name, const std::string& description,
                               const std::string& footer, Action action) {
  CLI::App* command = app_->add_subcommand(name, description);
  command->footer(footer);
  command->callback([this, action = std::move(action)] { chosen_ = action; });
  return Arguments(*command);
}

std::optional<int> CommandLine::parse(std::vector<std::string> arguments) {
  try {
    std::reverse(arguments.begin(), arguments.end());
    app_->parse(std::move(arguments));
    return std::nullopt;
  } catch (const CLI::Success& success) {
    return app_->exit(success);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "kyvmath: %s\nTry 'kyvmath --help'.\n", error.what());
    return kBadUsage;
  }
}

}  // namespace kyv::host
