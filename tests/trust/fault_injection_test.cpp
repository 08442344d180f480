// Every allocation and every call of the operating system that the library makes fails in turn, once and for
// good. Whatever fails, the status and the log are the documented ones, nothing is lost or half written, and
// the next call works.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "support/faulty_system.h"
#include "thread/thread_context.h"
#include "trust/export_calls.h"

namespace kyv::trust {
namespace {

using testing_support::Call;
using testing_support::FaultySystem;
using testing_support::kForGood;

// A worker whose wait never succeeds never hears that it should end, by contract. Failing this often in a row
// stands for failing for good.
constexpr int kManyWaits = 1000;

struct Fault {
  Call call;
  int after;
  int times;
};

std::string message_of(Call call) {
  switch (call) {
    case Call::kTlsAlloc:
      return "TlsAlloc Error : 4711\n";
    case Call::kTlsFree:
      return "TlsFree Error : 4711\n";
    case Call::kTlsGetValue:
      return "TlsGetValue Error : 4711\n";
    case Call::kTlsSetValue:
      return "TlsSetValue Error : 4711\n";
    case Call::kCreateEvent:
      return "CreateEvent Error : dwError=4711\n";
    case Call::kSetEvent:
      return "SetEvent Error : dwError=4711\n";
    case Call::kCloseHandle:
      return "CloseHandle Error : dwError=4711\n";
    case Call::kWait:
      return "WaitForSingleObject Error : dwWFSO=0xFFFFFFFF, dwError=4711\n";
    default:
      return "";
  }
}

// How often `text` says `message`; -1 when it says anything else.
int times_said(const std::string& text, const std::string& message) {
  int times = 0;
  for (std::size_t at = 0; at < text.size(); at += message.size(), ++times)
    if (message.empty() || text.compare(at, message.size(), message) != 0) return -1;
  return times;
}

// How many messages that many faults leave.
int messages_of(const Fault& fault, int met) { return message_of(fault.call).empty() ? 0 : met; }

// What the library has said, on whatever thread.
class Log {
 public:
  Log() { platform::services.OutputDebugStringA = keep; }

  static std::string text() {
    lock();
    const std::string text = std::exchange(g_text, {});
    g_locked.clear();
    return text;
  }

 private:
  static void lock() {
    while (g_locked.test_and_set()) {
    }
  }
  static void keep(const char* message) {
    lock();
    g_text += message;
    g_locked.clear();
  }

  static inline std::atomic_flag g_locked;
  static inline std::string g_text;
};

std::vector<Call> every_kind() {
  std::vector<Call> kinds;
  for (int kind = 0; kind < static_cast<int>(Call::kCount); ++kind) kinds.push_back(static_cast<Call>(kind));
  return kinds;
}

int g_faults_injected = 0;

class FaultInjection : public ::testing::Test {
 protected:
  static void TearDownTestSuite() {
    std::printf("[  FAULTS  ] %d injected\n", g_faults_injected);
    std::fflush(stdout);
  }

  ~FaultInjection() override { EXPECT_TRUE(system.nothing_leaked()) << "at the end"; }

  // Calls meet_fault(fault) with every call of those kinds failing in turn, and then, with nothing failing
  // any more, check(fault, faults that it met).
  template <class Meet, class Check>
  void inject(const std::vector<Call>& kinds, const Meet& meet_fault, const Check& check) {
    for (const Call call : kinds) {
      const int for_good = call == Call::kWait ? kManyWaits : kForGood;
      for (const int times : {1, for_good}) {
        int met = 1;
        for (int after = 0; met > 0; ++after) {
          const Fault fault{call, after, times};
          system.fail_nothing();
          system.fail(call, after, times);
          meet_fault(fault);
          met = system.faults(call);
          system.fail_nothing();
          check(fault, met);
          if (HasFatalFailure()) return;
          g_faults_injected += met > 0 ? 1 : 0;
        }
      }
    }
  }

  FaultySystem system;
  Log log;
};

std::string described(const Fault& fault) {
  return "call of kind " + std::to_string(static_cast<int>(fault.call)) + " failing after " +
         std::to_string(fault.after) + (fault.times == 1 ? ", once" : ", for good");
}

// What lay behind a slot that could not be read when it was cleared.
void destroy_lost_context(const FaultySystem& system) {
  runtime::Owned<thread::ThreadContext>(static_cast<thread::ThreadContext*>(system.last_stored_value()))
      .reset();
}

TEST_F(FaultInjection, ResizesAreDoneOrRefusedWhole) {
  ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
  const int idle = system.live_allocations();
  for (ExportCall& call : all_export_calls()) {
    if (!call.is_resize()) continue;
    system.fail_nothing();
    ASSERT_EQ(call.run(), KYVMATH_OK) << call.name();
    const Bytes healthy = call.output();
    const int lookups = system.calls(Call::kTlsGetValue);
    const int stores = system.calls(Call::kTlsSetValue);

    inject(
        every_kind(),
        [&](const Fault& fault) {
          call.clear_output();
          const KyvMathStatusCode status = call.run();
          // Once the work is done only the release is left, whose failures are logged.
          const bool released = (fault.call == Call::kTlsGetValue && fault.after >= lookups - 1) ||
                                (fault.call == Call::kTlsSetValue && fault.after >= stores - 1);
          const bool refused = system.faults(fault.call) > 0 && !released;
          ASSERT_EQ(status, refused ? KYVMATH_RESIZE_FAILED : KYVMATH_OK) << call.name() << described(fault);
          ASSERT_TRUE(refused ? call.untouched() : call.output() == healthy)
              << call.name() << described(fault);
          // A slot that cannot be read is cleared: what lay behind it is the one thing that is ever lost.
          if (fault.call == Call::kTlsGetValue && released && system.faults(fault.call) > 0)
            destroy_lost_context(system);
        },
        [&](const Fault& fault, int met) {
          ASSERT_EQ(times_said(log.text(), message_of(fault.call)), messages_of(fault, met))
              << described(fault);
          call.clear_output();
          ASSERT_EQ(call.run(), KYVMATH_OK) << described(fault);
          ASSERT_EQ(call.output(), healthy) << described(fault);
          ASSERT_EQ(system.live_allocations(), idle) << call.name() << described(fault);
        });
  }
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
}

TEST_F(FaultInjection, ConversionsLeaveAPlaneUntransformedOrRefuseWhole) {
  int left_untransformed = 0;
  for (ExportCall& call : all_export_calls()) {
    if (call.is_resize()) continue;
    system.fail_nothing();
    call.clear_output();
    ASSERT_EQ(call.run(), KYVMATH_OK) << call.name();
    const Bytes healthy = call.output();

    inject(
        every_kind(),
        [&](const Fault& fault) {
          call.clear_output();
          const KyvMathStatusCode status = call.run();
          const bool met = system.faults(fault.call) > 0;
          if (met && fault.after == 0) {
            ASSERT_EQ(status, KYVMATH_FAILED) << call.name();
            ASSERT_TRUE(call.untouched()) << call.name();
            return;
          }
          Bytes expected = healthy;
          // What the planes share is set up with the first one, and where that fails with the next.
          const int last = fault.times == 1 ? 0 : call.planes() - 1;
          for (int p = 0; met && p <= last; ++p) expected = call.with_plane_copied(expected, p);
          left_untransformed += met ? 1 : 0;
          ASSERT_EQ(status, KYVMATH_OK) << call.name() << described(fault);
          ASSERT_EQ(call.output(), expected) << call.name() << described(fault);
        },
        [&](const Fault& fault, int) {
          ASSERT_EQ(log.text(), "");
          ASSERT_TRUE(system.nothing_leaked()) << call.name() << described(fault);
          ASSERT_EQ(call.run(), KYVMATH_OK);
          ASSERT_EQ(call.output(), healthy) << call.name() << described(fault);
        });
  }
  EXPECT_GT(left_untransformed, 0) << "no plan takes memory of its own";
}

// The slot's reading and writing belong to the resize and fail in its own test.
TEST_F(FaultInjection, StartUpAndShutDownSayWhatFailedAndCanBeRepeated) {
  ExportCall call(Resize{KYVMATH_CUBIC, 3, 8, false, 9, 11});
  std::array<KyvMathStatusCode, 3> statuses{};
  const auto whole_life = [&] {
    call.clear_output();
    statuses = {KyvMathInitialize(), call.run(), KyvMathTerminate()};
  };
  whole_life();
  const Bytes healthy = call.output();
  const auto expected_statuses = [](const Fault& fault, bool met) -> std::array<KyvMathStatusCode, 3> {
    if (!met || fault.call == Call::kTlsFree) return {KYVMATH_OK, KYVMATH_OK, KYVMATH_OK};
    if (fault.call == Call::kAllocate && fault.after == 0)
      return {KYVMATH_FAILED, KYVMATH_NOT_INITIALIZED, KYVMATH_OK};
    return {KYVMATH_OK, KYVMATH_RESIZE_FAILED, KYVMATH_OK};
  };
  inject(
      {Call::kAllocate, Call::kTlsAlloc, Call::kTlsFree},
      [&](const Fault& fault) {
        whole_life();
        ASSERT_EQ(statuses, expected_statuses(fault, system.faults(fault.call) > 0)) << described(fault);
        ASSERT_TRUE(statuses[1] == KYVMATH_OK ? call.output() == healthy : call.untouched())
            << described(fault);
      },
      [&](const Fault& fault, int met) {
        ASSERT_EQ(times_said(log.text(), message_of(fault.call)), messages_of(fault, met))
            << described(fault);
        ASSERT_TRUE(system.nothing_leaked()) << described(fault);
        whole_life();
        ASSERT_EQ(statuses, expected_statuses(fault, false)) << described(fault);
        ASSERT_EQ(call.output(), healthy) << described(fault);
      });
}

std::uint32_t square(void* number) {
  const auto value = *static_cast<const std::uint32_t*>(number);
  return value * value;
}

// Makes the pool, runs three batches if there is one, and gives it back. How many of the batches were right;
// 0 without a pool.
int right_batches(const FaultySystem& system) {
  thread::TaskPool* pool = thread::get_task_pool();
  int right = 0;
  for (int batch = 0; pool != nullptr && batch < 3; ++batch) {
    std::array<std::uint32_t, 3> numbers{2, 3, 5};
    std::array<void*, 3> arguments{&numbers[0], &numbers[1], &numbers[2]};
    if (pool->run_batch(square, 3, arguments.data()) != 3) {
      ADD_FAILURE() << "a pool that runs nothing";
      break;
    }
    pool->wait_batch();
    right += pool->result(0) == 4 && pool->result(1) == 9 && pool->result(2) == 25 ? 1 : 0;
  }
  thread::release_thread_context();
  // A pool is left to its workers where the end of one could not be awaited; by now all have ended. Its
  // context is lost with it where the slot could not be read.
  if (pool != nullptr && system.live_handles() > 0) {
    if (system.faults(Call::kTlsGetValue) > 0) {
      destroy_lost_context(system);
    } else {
      thread::OwnedPool(pool).reset();
    }
  }
  return right;
}

TEST_F(FaultInjection, APoolIsWholeOrNotThereAndItsBatchesEnd) {
  system.set_processor_count(4);
  ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
  const int idle = system.live_allocations();
  const int lookups = (right_batches(system), system.calls(Call::kTlsGetValue));
  const int stores = system.calls(Call::kTlsSetValue);
  inject(
      every_kind(),
      [&](const Fault& fault) {
        const int right = right_batches(system);
        const bool met = system.faults(fault.call) > 0;
        const bool made = fault.call == Call::kSetEvent || fault.call == Call::kWait ||
                          fault.call == Call::kJoin || fault.call == Call::kCloseHandle ||
                          (fault.call == Call::kTlsGetValue && fault.after >= lookups - 1) ||
                          (fault.call == Call::kTlsSetValue && fault.after >= stores - 1);
        ASSERT_EQ(right, met && !made ? 0 : 3) << described(fault);
      },
      [&](const Fault& fault, int met) {
        // Not every wait and not every handle is an event's: the others fail silently.
        const int said = times_said(log.text(), message_of(fault.call));
        const bool may_be_silent = fault.call == Call::kWait || fault.call == Call::kCloseHandle;
        ASSERT_GE(said, may_be_silent ? 0 : messages_of(fault, met)) << described(fault);
        ASSERT_LE(said, met) << described(fault);
        ASSERT_EQ(right_batches(system), 3) << described(fault);
        ASSERT_EQ(system.live_allocations(), idle) << described(fault);
        ASSERT_EQ(system.live_handles(), 0) << described(fault);
      });
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
}

}  // namespace
}  // namespace kyv::trust
