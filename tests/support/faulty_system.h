// A platform whose calls fail on demand, and which knows what the library holds.
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace kyv::testing_support {

enum class Call {
  kAllocate,  // malloc and calloc alike
  kTlsAlloc,
  kTlsFree,
  kTlsGetValue,
  kTlsSetValue,
  kCreateEvent,
  kSetEvent,
  kWait,  // for an event
  kJoin,  // for the end of a thread
  kCloseHandle,
  kBeginThread,
  kCount
};

inline constexpr int kForGood = 1 << 30;

// While it lives, the library's services count and fail as they are told; at most one at a time.
//
// A call that fails reports `kInjectedError`. Calls that give something back (CloseHandle, TlsFree) do so
// before they report failure, a SetEvent does signal, and a join does wait, so that a test can go on after
// them. A thread that does not start leaves rubbish as its identifier.
class FaultySystem {
 public:
  static constexpr std::uint32_t kInjectedError = 4711;

  FaultySystem();
  FaultySystem(const FaultySystem&) = delete;
  FaultySystem& operator=(const FaultySystem&) = delete;
  ~FaultySystem();

  // Lets `times` calls fail after the next `after` ones have passed.
  void fail(Call call, int after = 0, int times = kForGood);
  void fail_nothing();
  void set_processor_count(std::uint32_t count);
  // Calls this before every join; nullptr for nothing. Unlike the services themselves it may be set while
  // threads run.
  void before_join(void (*hook)(platform::Handle thread));

  // Since construction or fail_nothing().
  int calls(Call call) const;
  int faults(Call call) const;  // of these, how many failed by order

  // What the library holds now beyond what it held at construction.
  int live_allocations() const;
  int live_handles() const;
  int live_slots() const;
  bool nothing_leaked() const;

  // The last value other than null that went into a thread-local slot.
  void* last_stored_value() const;
};

}  // namespace kyv::testing_support
