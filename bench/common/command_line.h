// The command lines of the benchmark programs.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace kyv::bench {

// Declare what there is, then parse. Whatever is declared must outlive the parsing. One source compiles the
// library that does it, which takes it longer than either program.
class CommandLine {
 public:
  using Take = std::function<void(const std::string& value)>;

  // `description` says in the help what the program does.
  explicit CommandLine(const std::string& description);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  // Arguments without a name must all be given, in the order of their declarations.
  void positional(const std::string& name, const std::string& help, std::string& value);

  // `name` begins with two dashes, `type` names the value in the help. An option may be given several times:
  // `take` is called for each value, the others keep the last.
  void option(const std::string& name, const std::string& type, const std::string& help, const Take& take);
  // Of a text, an int, a std::uint64_t or a double.
  template <class Value>
  void option(const std::string& name, const std::string& type, const std::string& help, Value& value);
  void flag(const std::string& name, const std::string& help, const std::function<void()>& set);

  // False when help was asked for and printed. Throws std::invalid_argument with a message for the user.
  bool parse(int argc, const char* const* argv);

 private:
  std::unique_ptr<CLI::App> app_;
};

}  // namespace kyv::bench
