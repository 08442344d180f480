#include "runtime/debug_print.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>

#include "platform/platform.h"
#include "support/debug_output.h"

namespace kyv::runtime {
namespace {

TEST(DebugPrint, WritesWholeMessagesOfUpTo1023CharactersAndNoOthers) {
  testing_support::DebugOutput output;
  for (const std::size_t length : {1u, 1022u, 1023u}) {
    const std::string message(length, 'm');
    debug_print("%s", message.c_str());
    EXPECT_EQ(output.text(), message);
  }
  for (const std::size_t length : {1024u, 1025u, 5000u}) {
    debug_print("%s", std::string(length, 'm').c_str());
    EXPECT_EQ(output.text(), "") << length;
  }
}

int format_exactly_as_many(char* buffer, std::size_t count, const char*, std::va_list) {
  std::memset(buffer, 'm', count + 1);  // no terminating zero, and no zero after it by chance
  return static_cast<int>(count);
}

TEST(DebugPrint, TerminatesAMessageThatTheFormatterDidNot) {
  testing_support::DebugOutput output;
  platform::services._vsnprintf = format_exactly_as_many;
  debug_print("x");
  platform::services = platform::operating_system;
  EXPECT_EQ(output.text(), std::string(1023, 'm'));
}

TEST(DebugPrint, AddsNothingAndFormatsAsTheMessagesNeed) {
  testing_support::DebugOutput output;
  debug_print("a=%d b=%u c=0x%08X\n", -9999, 4294967295u, 0x102u);
  debug_print("next");
  EXPECT_EQ(output.text(), "a=-9999 b=4294967295 c=0x00000102\nnext");
}

}  // namespace
}  // namespace kyv::runtime
