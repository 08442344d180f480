// The contract of the platform's services, the same on every operating system.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <vector>

namespace kyv::platform {
namespace {

const Services& os = operating_system;

struct Relay {
  Handle go = nullptr;
  Handle arrived = nullptr;
  std::uint32_t slot = 0;
  void* seen = nullptr;
  int arrivals = 0;
};

KYV_REALIGN_STACK unsigned KYV_STDCALL relay_routine(void* argument) {
  auto& relay = *static_cast<Relay*>(argument);
  relay.seen = os.TlsGetValue(relay.slot);
  os.TlsSetValue(relay.slot, argument);
  ++relay.arrivals;
  os.SetEvent(relay.arrived);
  os.WaitForSingleObject(relay.go);
  return 7;
}

TEST(Platform, EventsReleaseOneWaitAndResetThemselves) {
  Relay relay{.go = os.CreateEventW(), .arrived = os.CreateEventW(), .slot = os.TlsAlloc()};
  ASSERT_NE(relay.slot, kTlsOutOfIndexes);
  EXPECT_TRUE(os.TlsSetValue(relay.slot, &relay.go));
  for (int round = 1; round <= 50; ++round) {
    std::uint32_t identifier = 0;
    const Handle thread = os._beginthreadex(relay_routine, &relay, &identifier);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(identifier, 0u);
    EXPECT_EQ(os.WaitForSingleObject(relay.arrived), kWaitObject0);
    EXPECT_EQ(relay.arrivals, round) << "the event was still signalled";
    EXPECT_TRUE(os.SetEvent(relay.go));
    EXPECT_EQ(os.WaitForSingleObject(thread), kWaitObject0);
    EXPECT_TRUE(os.CloseHandle(thread));
    EXPECT_EQ(relay.seen, nullptr) << "a new thread's slot is empty";
  }
  EXPECT_EQ(os.TlsGetValue(relay.slot), &relay.go) << "other threads do not disturb this one's slot";
  EXPECT_TRUE(os.TlsFree(relay.slot));
  EXPECT_TRUE(os.CloseHandle(relay.go));
  EXPECT_TRUE(os.CloseHandle(relay.arrived));
}

TEST(Platform, AThreadOutlivesItsHandle) {
  static Relay relay;  // the thread may still run when the test has ended
  relay = {.go = os.CreateEventW(), .arrived = os.CreateEventW(), .slot = os.TlsAlloc(), .seen = nullptr};
  std::uint32_t identifier = 0;
  const Handle thread = os._beginthreadex(relay_routine, &relay, &identifier);
  EXPECT_TRUE(os.CloseHandle(thread));
  EXPECT_EQ(os.WaitForSingleObject(relay.arrived), kWaitObject0);
  EXPECT_TRUE(os.SetEvent(relay.go));
}

TEST(Platform, FailuresLeaveAReasonAndAReadOfTheSlotClearsIt) {
  EXPECT_FALSE(os.SetEvent(nullptr));
  EXPECT_NE(os.GetLastError(), 0u);
  EXPECT_EQ(os.WaitForSingleObject(nullptr), kWaitFailed);
  EXPECT_NE(os.GetLastError(), 0u);

  const std::uint32_t slot = os.TlsAlloc();
  EXPECT_FALSE(os.CloseHandle(nullptr));
  EXPECT_NE(os.GetLastError(), 0u);
  EXPECT_EQ(os.TlsGetValue(slot), nullptr);
  EXPECT_EQ(os.GetLastError(), 0u);
  EXPECT_TRUE(os.TlsFree(slot));
}

TEST(Platform, SlotsRunOutWithAReason) {
  std::vector<std::uint32_t> slots;
  for (;;) {
    const std::uint32_t slot = os.TlsAlloc();
    if (slot == kTlsOutOfIndexes) break;
    slots.push_back(slot);
    ASSERT_LT(slots.size(), 100000u);
  }
  EXPECT_NE(os.GetLastError(), 0u);
  for (const std::uint32_t slot : slots) EXPECT_TRUE(os.TlsFree(slot));
}

int formatted(std::string& text, std::size_t count, const char* format, ...) {
  text.assign(count + 1, '#');
  std::va_list arguments;
  va_start(arguments, format);
  const int length = os._vsnprintf(text.data(), count, format, arguments);
  va_end(arguments);
  return length;
}

TEST(Platform, TheFormatterTellsWhatDoesNotFit) {
  std::string text;
  EXPECT_EQ(formatted(text, 8, "%s", "1234567"), 7);
  EXPECT_EQ(text.substr(0, 8), std::string("1234567\0", 8));
  EXPECT_EQ(formatted(text, 8, "%s", "12345678"), 8);
  EXPECT_EQ(text.substr(0, 8), "12345678");
  EXPECT_LT(formatted(text, 8, "%s", "123456789"), 0);
}

TEST(Platform, ThereIsAtLeastOneProcessor) {
  SystemInfo info{};
  os.GetSystemInfo(&info);
  EXPECT_GE(info.number_of_processors, 1u);
}

}  // namespace
}  // namespace kyv::platform
