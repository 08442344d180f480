// The diagnostic log: messages to the debugger output channel, and nowhere else.
#pragma once

namespace kyv::runtime {

// Formats like printf and writes the text whole, or not at all when it has more than 1023 characters.
// Adds nothing: a message brings its own line end. Keeps no state; any thread may call it at any time.
__attribute__((format(printf, 1, 2))) void debug_print(const char* format, ...) noexcept;

}  // namespace kyv::runtime
