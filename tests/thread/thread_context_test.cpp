#include "thread/thread_context.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <vector>

#include "runtime/aligned_memory.h"
#include "support/faulty_system.h"
#include "thread/process_state.h"

namespace kyv::thread {
namespace {

using testing_support::Call;
using testing_support::FaultySystem;

constexpr std::uint32_t kProcessors = 5;
constexpr std::int32_t kWorkers = 4;

class ThreadContextTest : public ::testing::Test {
 protected:
  ThreadContextTest() {
    system.set_processor_count(kProcessors);
    read_processor_count();
    EXPECT_TRUE(create_thread_slot());
    idle_allocations_ = system.live_allocations();
  }

  ~ThreadContextTest() override {
    system.fail_nothing();
    release_thread_context();
    release_thread_slot();
    EXPECT_TRUE(system.nothing_leaked());
    system.set_processor_count(1);
    read_processor_count();
  }

  // Nothing is held beyond the slot itself.
  bool idle() const { return system.live_allocations() == idle_allocations_ && system.live_handles() == 0; }

  FaultySystem system;

 private:
  int idle_allocations_ = 0;
};

TEST_F(ThreadContextTest, TheScratchBufferGrowsOnlyWhenItMust) {
  ScratchBuffer* scratch = get_scratch_buffer();
  ASSERT_NE(scratch, nullptr);
  EXPECT_EQ(scratch->capacity(), 0);
  EXPECT_EQ(scratch->ensure(0), nullptr);

  void* data = scratch->ensure(1000);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % runtime::kMemoryAlignment, 0u);
  std::memset(data, 1, 1000);
  const int calls = system.calls(Call::kAllocate);
  EXPECT_EQ(scratch->ensure(1000), data);
  EXPECT_EQ(scratch->ensure(1), data);
  EXPECT_EQ(system.calls(Call::kAllocate), calls);
  EXPECT_EQ(get_scratch_buffer(), scratch);

  system.fail(Call::kAllocate, 0, 1);
  EXPECT_EQ(scratch->ensure(1001), nullptr);
  EXPECT_EQ(scratch->capacity(), 0) << "the old buffer went before the new one was asked for";
  ASSERT_NE(scratch->ensure(1001), nullptr);
  EXPECT_EQ(scratch->capacity(), 1001);

  release_thread_context();
  EXPECT_TRUE(idle());
}

TEST_F(ThreadContextTest, WithoutASlotNothingIsTouched) {
  release_thread_slot();
  EXPECT_EQ(get_thread_context(), nullptr);
  EXPECT_EQ(get_scratch_buffer(), nullptr);
  EXPECT_EQ(get_task_pool(), nullptr);
  release_thread_context();
  EXPECT_EQ(system.calls(Call::kTlsGetValue) + system.calls(Call::kTlsSetValue), 0);
}

TEST_F(ThreadContextTest, ASingleProcessorHasNoPool) {
  for (const std::uint32_t processors : {0u, 1u}) {
    system.set_processor_count(processors);
    read_processor_count();
    EXPECT_EQ(processor_count(), 1u);
    EXPECT_EQ(get_task_pool(), nullptr);
  }
  EXPECT_EQ(system.calls(Call::kBeginThread), 0);
}

void spin(int steps) {
  for (std::atomic<int> left{steps}; left.load() > 0;) --left;
}

struct Work {
  std::atomic<int> runs{0};
  int steps = 0;

  static std::uint32_t run(void* self) {
    auto& work = *static_cast<Work*>(self);
    spin(work.steps);
    return static_cast<std::uint32_t>(++work.runs);
  }
};

TEST_F(ThreadContextTest, AThousandBatchesOfEveryCountLoseNoTaskAndNeverReturnEarly) {
  TaskPool* pool = get_task_pool();
  ASSERT_NE(pool, nullptr);
  ASSERT_EQ(pool->worker_count(), kWorkers);
  for (std::int32_t count = 1; count <= kWorkers; ++count) {
    std::array<Work, kWorkers> works;
    std::array<void*, kWorkers> arguments{};
    for (std::size_t i = 0; i < works.size(); ++i) arguments[i] = &works[i];
    for (int batch = 1; batch <= 1000; ++batch) {
      // The slow one is the last to be handed out in one batch, the first in another.
      for (std::int32_t i = 0; i < count; ++i)
        works[static_cast<std::size_t>(i)].steps = (batch + i) % count == 0 ? 300 : 0;
      ASSERT_EQ(pool->run_batch(Work::run, count, arguments.data()), count);
      pool->wait_batch();
      for (std::int32_t i = 0; i < kWorkers; ++i)
        ASSERT_EQ(works[static_cast<std::size_t>(i)].runs, i < count ? batch : 0);
      for (std::int32_t i = 0; i < count; ++i) ASSERT_EQ(pool->result(i), static_cast<std::uint32_t>(batch));
    }
  }
}

// The first task ends, and signals the completion of a batch of one, before the second hand-off is counted.
std::atomic<int> g_set_calls{0};
std::atomic<bool> g_second_done{false};

bool set_event_slowly(platform::Handle event) {
  const bool set = platform::operating_system.SetEvent(event);
  if (++g_set_calls == 1) {
    while (g_set_calls.load() < 2) {
    }
  }
  return set;
}

TEST_F(ThreadContextTest, AnEarlySignalDoesNotEndTheWait) {
  TaskPool* pool = get_task_pool();
  ASSERT_NE(pool, nullptr);
  g_set_calls = 0;
  g_second_done = false;
  platform::services.SetEvent = set_event_slowly;
  const auto task = [](void* argument) -> std::uint32_t {
    if (argument == nullptr) return 0;
    spin(1000000);
    g_second_done = true;
    return 0;
  };
  void* arguments[] = {nullptr, pool};  // only the second task has something to do
  EXPECT_EQ(pool->run_batch(task, 2, arguments), 2);
  pool->wait_batch();
  EXPECT_TRUE(g_second_done);
}

TEST_F(ThreadContextTest, RefusesBatchesThatItCannotRun) {
  TaskPool* pool = get_task_pool();
  ASSERT_NE(pool, nullptr);
  EXPECT_EQ(get_task_pool(), pool);
  std::array<Work, kWorkers> works;
  std::array<void*, kWorkers> arguments{};
  for (std::size_t i = 0; i < works.size(); ++i) arguments[i] = &works[i];
  EXPECT_EQ(pool->run_batch(nullptr, 1, arguments.data()), -1);
  EXPECT_EQ(pool->run_batch(Work::run, 0, arguments.data()), -1);
  EXPECT_EQ(pool->run_batch(Work::run, -1, arguments.data()), -1);
  EXPECT_EQ(pool->run_batch(Work::run, kWorkers + 1, arguments.data()), -1);
  pool->wait_batch();

  EXPECT_EQ(pool->run_batch(Work::run, kWorkers, arguments.data()), kWorkers);
  EXPECT_EQ(pool->run_batch(Work::run, 1, arguments.data()), -1) << "the first one is still pending";
  pool->wait_batch();
  for (const Work& work : works) EXPECT_EQ(work.runs, 1);

  const auto no_argument = [](void* argument) -> std::uint32_t { return argument == nullptr ? 1 : 0; };
  EXPECT_EQ(pool->run_batch(no_argument, 1, nullptr), 1);
  pool->wait_batch();
  EXPECT_EQ(pool->result(0), 1u);
}

TEST_F(ThreadContextTest, ReleaseFinishesABatchThatNobodyWaitedFor) {
  TaskPool* pool = get_task_pool();
  ASSERT_NE(pool, nullptr);
  std::array<Work, kWorkers> works;
  std::array<void*, kWorkers> arguments{};
  for (std::size_t i = 0; i < works.size(); ++i) arguments[i] = &works[i];
  EXPECT_EQ(pool->run_batch(Work::run, kWorkers, arguments.data()), kWorkers);
  release_thread_context();
  EXPECT_TRUE(idle());
}

// The threads whose end was waited for, in order, and whether any had been when the scratch data went.
std::vector<platform::Handle> g_started;
std::vector<platform::Handle> g_joined;
void* g_scratch_block = nullptr;
std::size_t g_joined_before_scratch = 0;
platform::Services g_services;  // what the hooks stand before

void record_order_of_release(FaultySystem& system) {
  g_started.clear();
  g_joined.clear();
  g_scratch_block = nullptr;
  g_services = platform::services;
  platform::services._beginthreadex = [](platform::ThreadRoutine routine, void* argument,
                                         std::uint32_t* identifier) {
    g_started.push_back(g_services._beginthreadex(routine, argument, identifier));
    return g_started.back();
  };
  system.before_join([](platform::Handle thread) { g_joined.push_back(thread); });
  platform::services.malloc = [](std::size_t bytes) {
    void* const block = g_services.malloc(bytes);
    if (bytes > 100000) g_scratch_block = block;
    return block;
  };
  platform::services.free = [](void* block) {
    if (block != nullptr && block == g_scratch_block) g_joined_before_scratch = g_joined.size();
    g_services.free(block);
  };
}

TEST_F(ThreadContextTest, ReleaseEndsTheWorkersInTheirOrderAndThenFreesTheScratchBuffer) {
  record_order_of_release(system);
  ASSERT_NE(get_scratch_buffer()->ensure(200000), nullptr);
  ASSERT_NE(get_task_pool(), nullptr);
  ASSERT_NE(g_scratch_block, nullptr);
  release_thread_context();
  EXPECT_EQ(g_started.size(), static_cast<std::size_t>(kWorkers));
  EXPECT_EQ(g_joined, g_started);
  EXPECT_EQ(g_joined_before_scratch, g_started.size()) << "tasks may use the buffer to the last";
  platform::services = g_services;
  EXPECT_TRUE(idle());
}

TEST_F(ThreadContextTest, APoolIsLeftToAWorkerWhoseEndCouldNotBeAwaited) {
  TaskPool* const pool = get_task_pool();
  ASSERT_NE(pool, nullptr);
  system.fail(Call::kJoin, 1, 1);
  release_thread_context();
  EXPECT_EQ(system.live_handles(), 2) << "the events of that worker and of the pool";
  OwnedPool(pool).reset();  // by now it has ended
  EXPECT_TRUE(idle());
}

}  // namespace
}  // namespace kyv::thread
