#include "common/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace kyv::bench {

CommandLine::CommandLine(const std::string& description) : app_(std::make_unique<CLI::App>(description)) {
  app_->set_help_flag("--help", "Print this and end");
}

CommandLine::~CommandLine() = default;

void CommandLine::positional(const std::string& name, const std::string& help, std::string& value) {
  app_->add_option(name, value, help)->required();
}

void CommandLine::option(const std::string& name, const std::string& type, const std::string& help,
                         const Take& take) {
  const auto take_all = [take](const std::vector<std::string>& values) {
    for (const std::string& value : values) take(value);
  };
  app_->add_option_function<std::vector<std::string>>(name, take_all, help)
      ->type_name(type)
      ->allow_extra_args(false);
}

template <class Value>
void CommandLine::option(const std::string& name, const std::string& type, const std::string& help,
                         Value& value) {
  app_->add_option(name, value, help)->type_name(type)->take_last();
}

template void CommandLine::option(const std::string&, const std::string&, const std::string&, std::string&);
template void CommandLine::option(const std::string&, const std::string&, const std::string&, int&);
template void CommandLine::option(const std::string&, const std::string&, const std::string&, std::uint64_t&);
template void CommandLine::option(const std::string&, const std::string&, const std::string&, double&);

void CommandLine::flag(const std::string& name, const std::string& help, const std::function<void()>& set) {
  app_->add_flag_callback(name, set, help);
}

bool CommandLine::parse(int argc, const char* const* argv) {
  try {
    app_->parse(argc, argv);
    return true;
  } catch (const CLI::CallForHelp&) {
    std::printf("%s", app_->help().c_str());
    return false;
  } catch (const CLI::ParseError& error) {
    throw std::invalid_argument(error.what());
  }
}

}  // namespace kyv::bench
