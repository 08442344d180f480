// The command lines of the benchmark programs: arguments in their order, options of the form "--name value",
// flags.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kyv::bench {

// Declare what there is, then parse. Whatever is declared must outlive the parsing.
class CommandLine {
 public:
  using Take = std::function<void(const std::string& value)>;

  // First line of the help, e.g. "kyvmath_bench [options]".
  explicit CommandLine(std::string synopsis) : synopsis_(std::move(synopsis)) {}

  // Arguments without a name must all be given, in the order of their declarations.
  void positional(std::string& value) { positionals_.push_back(&value); }

  // `name` begins with two dashes. `type` names the value in the help, `help` may have several lines. An
  // option may be given several times: `take` is called for each value, the others keep the last.
  void option(const std::string& name, const std::string& type, const std::string& help, Take take);
  void option(const std::string& name, const std::string& type, const std::string& help, std::string& value);
  void option(const std::string& name, const std::string& type, const std::string& help, int& value);
  void option(const std::string& name, const std::string& type, const std::string& help,
              std::uint64_t& value);
  void option(const std::string& name, const std::string& type, const std::string& help, double& value);
  void flag(const std::string& name, const std::string& help, std::function<void()> set);

  // False when help was asked for and printed. Throws std::invalid_argument with a message for the user.
  bool parse(int argc, const char* const* argv) const;

 private:
  struct Option {
    std::string name;
    std::string type;  // empty: a flag
    std::string help;
    Take take;
  };

  void print_help() const;

  std::string synopsis_;
  std::vector<std::string*> positionals_;
  std::vector<Option> options_;
};

}  // namespace kyv::bench
