#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "common/host.h"

namespace kyv::bench {
namespace {

int last_allowed_core(const cpu_set_t& allowed) noexcept {
  for (int core = CPU_SETSIZE - 1; core >= 0; --core) {
    if (CPU_ISSET(static_cast<unsigned>(core), &allowed)) return core;
  }
  return -1;
}

}  // namespace

int pin_to_core(int core) noexcept {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return -1;
  if (core < 0) core = last_allowed_core(set);
  if (core < 0 || core >= CPU_SETSIZE) return -1;
  CPU_ZERO(&set);
  CPU_SET(static_cast<unsigned>(core), &set);
  return sched_setaffinity(0, sizeof set, &set) == 0 ? core : -1;
}

double now_seconds() noexcept {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

int result_in_child(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) _exit(work());
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
  }
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace kyv::bench
