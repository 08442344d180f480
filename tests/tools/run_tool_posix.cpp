#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iterator>
#include <sstream>
#include <stdexcept>

#include "platform.h"
#include "run_tool.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

// The words in front of a program of another architecture.
std::vector<std::string> emulator() {
  std::istringstream words(KYVMATH_EMULATOR);
  return {std::istream_iterator<std::string>(words), {}};
}

}  // namespace

ToolRun run_tool(const std::vector<std::string>& arguments, const std::filesystem::path& input) {
  const ScratchFolder folder;
  const std::string tool = (platform::executable_path().parent_path() / "../../bin/kyvmath").string();
  const std::string out = (folder / "stdout").string();
  const std::string err = (folder / "stderr").string();
  std::vector<std::string> words = emulator();
  words.push_back(tool);
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    const int out_file = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err_file = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (!input.empty()) dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO);
    dup2(out_file, STDOUT_FILENO);
    dup2(err_file, STDERR_FILENO);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) throw std::runtime_error("wait failed");
  constexpr std::int64_t kKibi = 1024;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), text_of(out), text_of(err),
          usage.ru_maxrss * kKibi};
}

}  // namespace kyv::host::test
