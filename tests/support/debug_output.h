// Reads the debugger output channel of this process: what a debugger would show of it.
#pragma once

#include <string>

namespace kyv::testing_support {

// While it lives, everything written to the channel by any thread is kept; at most one at a time.
class DebugOutput {
 public:
  DebugOutput();
  DebugOutput(const DebugOutput&) = delete;
  DebugOutput& operator=(const DebugOutput&) = delete;
  ~DebugOutput();

  std::string text();  // since construction or the last call, all messages one after the other
};

}  // namespace kyv::testing_support
