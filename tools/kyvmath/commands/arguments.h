#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"

namespace CLI {
class App;
}

namespace kyv::host {

// The options of the program or of one command, bound to variables that outlive the parsing. The parser's
// headers take a quarter of a minute to compile: this is all that the commands see of them.
//
// A name is "--size", or "--region,--crop" for one with an alias. `type` is what the help shows for the
// value.
class Arguments {
 public:
  explicit Arguments(CLI::App& app) : app_(app) {}

  void positional(const std::string& name, std::string& value, const std::string& help,
                  const std::string& type);
  void positionals(std::vector<std::string>& values, const std::string& help, int least, int most);
  void text(const std::string& name, std::string& value, const std::string& help, const std::string& type);
  // A default other than 0 is shown in the help.
  void number(const std::string& name, double& value, const std::string& help, const std::string& type,
              double low, double high);
  void integer(const std::string& name, int& value, const std::string& help, const std::string& type, int low,
               int high);
  void choice(const std::string& name, std::string& value, const std::string& help,
              const std::vector<std::string>& choices);
  void flag(const std::string& name, bool& value, const std::string& help);
  // The heading in the help of the options that follow.
  void group(const std::string& heading) { group_ = heading; }

 private:
  CLI::App& app_;
  std::string group_;
};

class CommandLine {
 public:
  CommandLine();
  ~CommandLine();

  Arguments common();
  Arguments command(const std::string& name, const std::string& description, const std::string& footer,
                    Action action);

  // Fills the bound variables. Returns the exit status when there is nothing left to do: help was asked for,
  // or the arguments were refused (both are printed).
  std::optional<int> parse(std::vector<std::string> arguments);
  const Action& chosen() const { return chosen_; }

 private:
  std::unique_ptr<CLI::App> app_;
  Action chosen_;
};

}  // namespace kyv::host
