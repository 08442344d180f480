#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <type_traits>

#include "support/debug_output.h"
#include "support/faulty_system.h"
#include "thread/event.h"
#include "thread/kyv_exception.h"
#include "thread/my_thread.h"
#include "thread/simple_task_thread.h"

namespace kyv::thread {
namespace {

using testing_support::Call;
using testing_support::DebugOutput;
using testing_support::FaultySystem;

static_assert(std::has_virtual_destructor_v<CBaseEvent> && std::has_virtual_destructor_v<CMyThread>);
static_assert(std::is_base_of_v<CBaseEvent, CSimpleEvent> && sizeof(CSimpleEvent) == sizeof(CBaseEvent));
static_assert(std::is_base_of_v<CMyThread, CSimpleTaskThread>);
static_assert(std::has_virtual_destructor_v<CKyvException>);

std::string repeated(const std::string& message, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += message;
  return text;
}

KYV_REALIGN_STACK unsigned KYV_STDCALL set_flag(void* flag) {
  static_cast<std::atomic<int>*>(flag)->store(1);
  return 0;
}

TEST(MyThread, RunsOnlyWhenStartedAndJoinsWhatItStarted) {
  FaultySystem system;
  DebugOutput output;
  std::atomic<int> flag{0};
  CMyThread thread(set_flag, &flag);
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.identifier(), 0u);
  EXPECT_TRUE(thread.join()) << "there is nothing to wait for";

  EXPECT_EQ(thread.start(), 0);
  EXPECT_NE(thread.handle(), nullptr);
  EXPECT_NE(thread.identifier(), 0u);
  thread.join();
  EXPECT_EQ(flag, 1);
  system.fail(Call::kCloseHandle, 0, 1);
  EXPECT_EQ(thread.close(), 0);
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.identifier(), 0u);
  EXPECT_EQ(thread.close(), 0);

  system.fail(Call::kBeginThread);
  EXPECT_EQ(thread.start(), -1);
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.identifier(), 0u);
  EXPECT_EQ(output.text(), "") << "none of this is logged";
  EXPECT_TRUE(system.nothing_leaked());
}

// A task that says when it runs and waits to be let go.
struct Gate {
  CSimpleEvent entered;
  CSimpleEvent open;
  std::atomic<int> runs{0};

  static std::uint32_t pass(void* self) {
    auto& gate = *static_cast<Gate*>(self);
    gate.entered.set();
    gate.open.wait();
    return static_cast<std::uint32_t>(40 + ++gate.runs);
  }
};

TEST(TaskThread, TakesTheNextTaskWhileOneRunsButNotWhileOneWaits) {
  Gate gate;
  TaskRecord first{.pool = nullptr, .function = Gate::pass, .argument = &gate, .result = 0};
  TaskRecord second = first;
  TaskRecord third = first;
  CSimpleTaskThread thread;
  ASSERT_TRUE(thread.usable());

  EXPECT_TRUE(thread.assign(&first));
  gate.entered.wait();
  EXPECT_TRUE(thread.assign(&second)) << "busy, but its task has been taken up";
  EXPECT_FALSE(thread.assign(&third)) << "the second one still waits";
  gate.open.set();
  gate.entered.wait();
  EXPECT_EQ(first.result, 41u);
  gate.open.set();
  thread.stop();
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(third.result, 0u);
}

Gate* g_gate = nullptr;

TEST(TaskThread, StopFinishesTheTaskThatRunsAndNotTheOneThatWaits) {
  FaultySystem system;
  Gate gate;
  TaskRecord running{.pool = nullptr, .function = Gate::pass, .argument = &gate, .result = 0};
  TaskRecord waiting{.pool = nullptr,
                     .function = [](void*) -> std::uint32_t { return 99; },
                     .argument = nullptr,
                     .result = 0};
  CSimpleTaskThread thread;
  EXPECT_TRUE(thread.assign(&running));
  gate.entered.wait();
  EXPECT_TRUE(thread.assign(&waiting));
  g_gate = &gate;
  system.before_join([](platform::Handle) { g_gate->open.set(); });
  EXPECT_TRUE(thread.stop());
  EXPECT_EQ(running.result, 41u);
  EXPECT_EQ(waiting.result, 0u);
}

TEST(TaskThread, StopIsSeenBeforeATaskThatCameWithTheSameWakeUp) {
  FaultySystem system;
  TaskRecord task{.pool = nullptr,
                  .function = [](void*) -> std::uint32_t { return 99; },
                  .argument = nullptr,
                  .result = 0};
  CSimpleTaskThread thread;
  const auto set_event = platform::services.SetEvent;
  platform::services.SetEvent = [](platform::Handle) { return true; };  // wakes nobody
  EXPECT_TRUE(thread.assign(&task));
  platform::services.SetEvent = set_event;
  EXPECT_TRUE(thread.stop());
  EXPECT_EQ(task.result, 0u);
}

TEST(TaskThread, SaysWhenItsEndCouldNotBeAwaited) {
  FaultySystem system;
  CSimpleTaskThread thread;
  system.fail(Call::kJoin);
  EXPECT_FALSE(thread.stop());
  EXPECT_EQ(thread.handle(), nullptr) << "closed all the same";
  EXPECT_TRUE(thread.stop()) << "nothing is left to wait for";
}

TEST(TaskThread, RefusesTasksWithoutAFunctionWithoutWaking) {
  FaultySystem system;
  {
    CSimpleTaskThread thread;
    TaskRecord empty;
    EXPECT_FALSE(thread.assign(nullptr));
    EXPECT_FALSE(thread.assign(&empty));
    EXPECT_EQ(system.calls(Call::kSetEvent), 0);
    thread.stop();
    EXPECT_EQ(system.calls(Call::kSetEvent), 1) << "an idle thread ends with one wake-up";
  }
  EXPECT_TRUE(system.nothing_leaked());
}

TEST(TaskThread, GoesOnWaitingAfterAFailedWait) {
  FaultySystem system;
  DebugOutput output;
  system.fail(Call::kWait, 0, 3);
  CSimpleTaskThread thread;
  while (system.calls(Call::kWait) < 4) {
  }
  thread.stop();
  EXPECT_EQ(output.text(), repeated("WaitForSingleObject Error : dwWFSO=0xFFFFFFFF, dwError=4711\n", 3));
}

}  // namespace
}  // namespace kyv::thread
