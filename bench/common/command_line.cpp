#include "common/command_line.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace kyv::bench {
namespace {

template <class Number>
CommandLine::Take number_into(Number& number, const std::string& name) {
  return [&number, name](const std::string& text) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) {
      throw std::invalid_argument(name + ": '" + text + "' is no such number");
    }
  };
}

}  // namespace

void CommandLine::option(const std::string& name, const std::string& type, const std::string& help,
                         Take take) {
  options_.push_back({name, type, help, std::move(take)});
}

void CommandLine::option(const std::string& name, const std::string& type, const std::string& help,
                         std::string& value) {
  option(name, type, help, [&value](const std::string& text) { value = text; });
}

void CommandLine::option(const std::string& name, const std::string& type, const std::string& help,
                         int& value) {
  option(name, type, help, number_into(value, name));
}

void CommandLine::option(const std::string& name, const std::string& type, const std::string& help,
                         std::uint64_t& value) {
  option(name, type, help, number_into(value, name));
}

void CommandLine::option(const std::string& name, const std::string& type, const std::string& help,
                         double& value) {
  option(name, type, help, number_into(value, name));
}

void CommandLine::flag(const std::string& name, const std::string& help, std::function<void()> set) {
  option(name, "", help, [set = std::move(set)](const std::string&) { set(); });
}

bool CommandLine::parse(int argc, const char* const* argv) const {
  std::size_t given = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--help") {
      print_help();
      return false;
    }
    if (!word.starts_with("--")) {
      if (given == positionals_.size()) throw std::invalid_argument("what is '" + word + "'?");
      *positionals_[given++] = word;
      continue;
    }
    const auto option =
        std::find_if(options_.begin(), options_.end(), [&](const Option& o) { return o.name == word; });
    if (option == options_.end()) throw std::invalid_argument("unknown option " + word);
    if (!option->type.empty() && i + 1 == argc) throw std::invalid_argument(word + " needs a value");
    option->take(option->type.empty() ? "" : argv[++i]);
  }
  if (given != positionals_.size()) throw std::invalid_argument(synopsis_ + "; --help tells more");
  return true;
}

void CommandLine::print_help() const {
  constexpr std::size_t kColumn = 21;
  std::printf("%s\n", synopsis_.c_str());
  for (const Option& option : options_) {
    std::string line = "  " + option.name + (option.type.empty() ? "" : " " + option.type) + "  ";
    line.resize(std::max(kColumn, line.size()), ' ');
    for (const char c : option.help) line += c == '\n' ? "\n" + std::string(kColumn, ' ') : std::string(1, c);
    std::printf("%s\n", line.c_str());
  }
}

}  // namespace kyv::bench
