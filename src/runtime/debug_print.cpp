#include "runtime/debug_print.h"

#include <cstdarg>

#include "platform/platform.h"

namespace kyv::runtime {

void debug_print(const char* format, ...) noexcept {
  constexpr int longest = 1023;
  char text[longest + 1];

  std::va_list arguments;
  va_start(arguments, format);
  const int length = platform::services._vsnprintf(text, longest, format, arguments);
  va_end(arguments);

  if (length < 0) return;
  if (length == longest) text[longest] = '\0';
  platform::services.OutputDebugStringA(text);
}

}  // namespace kyv::runtime
