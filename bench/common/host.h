// What a benchmark asks of the operating system.
#pragma once

#include <functional>
#include <string>

namespace kyv::bench {

// Keeps the calling thread on one processor from now on: number `core`, or the last one that the process
// may use when `core` is negative. Returns the processor's number, or -1 when the system refused.
int pin_to_core(int core = -1) noexcept;

// A steady clock, in seconds from an arbitrary start; resolution well under a microsecond.
double now_seconds() noexcept;

// The processor's brand string, or "unknown processor".
std::string processor_name();

// Runs `work` in a child process, where it may crash. Returns its result, 0 to 255, or, when a signal ended
// the child, that signal's number below zero. Where the system cannot divide a process, `work` runs in this
// one.
int result_in_child(const std::function<int()>& work);

}  // namespace kyv::bench
