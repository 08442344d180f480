#include "api/lifecycle.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "KyvMath.h"
#include "runtime/start_calls.h"
#include "support/debug_output.h"
#include "support/faulty_system.h"
#include "thread/process_state.h"

namespace kyv::api {
namespace {

using testing_support::Call;
using testing_support::DebugOutput;
using testing_support::FaultySystem;

std::int32_t g_static_init_status = 0;
std::int32_t g_set_num_threads_status = 0;
std::int32_t g_threads_asked_for = 0;
std::string g_start_calls;  // in the order in which they were made

class LifecycleTest : public ::testing::Test {
 protected:
  LifecycleTest() : original_calls_(runtime::start_calls) {
    g_static_init_status = 0;
    g_set_num_threads_status = 0;
    g_threads_asked_for = 0;
    g_start_calls.clear();
    runtime::start_calls.static_init = []() noexcept {
      g_start_calls += "init ";
      return g_static_init_status;
    };
    runtime::start_calls.set_num_threads = [](std::int32_t threads) noexcept {
      g_start_calls += "threads ";
      g_threads_asked_for = threads;
      return g_set_num_threads_status;
    };
  }

  ~LifecycleTest() override {
    system.fail_nothing();
    EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
    runtime::start_calls = original_calls_;
    EXPECT_TRUE(system.nothing_leaked());
    EXPECT_EQ(output.text(), "");
  }

  KyvMathStatusCode resize() {
    dst.fill(77);
    return KyvMathResize(KYVMATH_NEAREST, 1, 8, src.data(), 2, 2, 2, dst.data(), 1, 1, 1);
  }

  // Started up or not, the library is initialised; it recovers in the next cycle.
  void expect_not_started(const std::string& messages) {
    EXPECT_EQ(KyvMathInitialize(), KYVMATH_OK);
    EXPECT_EQ(output.text(), messages);
    EXPECT_TRUE(is_initialized());
    EXPECT_FALSE(is_engine_started());
    EXPECT_EQ(thread::thread_slot(), nullptr);
    EXPECT_EQ(system.live_slots(), 0);

    system.fail_nothing();
    g_static_init_status = 0;
    g_set_num_threads_status = 0;
    EXPECT_EQ(resize(), KYVMATH_RESIZE_FAILED);
    EXPECT_EQ(dst[0], 77);
    EXPECT_EQ(system.calls(Call::kTlsGetValue) + system.calls(Call::kTlsSetValue), 0);
    EXPECT_EQ(KyvMathInitialize(), KYVMATH_OK);
    EXPECT_FALSE(is_engine_started()) << "start-up is tried once in a cycle";

    EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
    EXPECT_EQ(KyvMathInitialize(), KYVMATH_OK);
    EXPECT_TRUE(is_engine_started());
    EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
    EXPECT_TRUE(system.nothing_leaked());
  }

  FaultySystem system;
  DebugOutput output;
  std::array<unsigned char, 4> src{10, 20, 30, 40};
  std::array<unsigned char, 4> dst{};

 private:
  runtime::StartCalls original_calls_;
};

TEST_F(LifecycleTest, StartsOnceAndStopsOnce) {
  EXPECT_FALSE(is_initialized());
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
  EXPECT_EQ(resize(), KYVMATH_NOT_INITIALIZED);

  system.set_processor_count(0);
  EXPECT_EQ(KyvMathInitialize(), KYVMATH_OK);
  EXPECT_TRUE(is_initialized() && is_engine_started());
  EXPECT_EQ(g_threads_asked_for, 1);
  EXPECT_EQ(g_start_calls, "init threads ");
  EXPECT_EQ(thread::processor_count(), 1u);
  EXPECT_EQ(system.live_slots(), 1);
  const int allocations = system.calls(Call::kAllocate);
  EXPECT_EQ(KyvMathInitialize(), KYVMATH_OK);
  EXPECT_EQ(system.calls(Call::kAllocate), allocations);
  EXPECT_EQ(system.calls(Call::kTlsAlloc), 1);

  system.set_processor_count(9);
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
  EXPECT_EQ(thread::processor_count(), 1u) << "the count is that of the last start-up";
  EXPECT_FALSE(is_initialized() || is_engine_started());
  EXPECT_TRUE(system.nothing_leaked());
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
  EXPECT_EQ(system.calls(Call::kTlsFree), 1);
  EXPECT_EQ(resize(), KYVMATH_NOT_INITIALIZED);
}

TEST_F(LifecycleTest, GoesOnWhereTheRunTimeOnlyRemarks) {
  g_static_init_status = 20;
  g_set_num_threads_status = 1;
  EXPECT_EQ(KyvMathInitialize(), KYVMATH_OK);
  EXPECT_TRUE(is_engine_started());
  EXPECT_EQ(output.text(),
            "ippStaticInit return ippStsNonIntelCpu. continue...\n"
            "ippSetNumThreads(1) return ippStsNoOperation. continue...\n");
}

TEST_F(LifecycleTest, FailsAtEachStepWithoutLeavingAnything) {
  for (const std::int32_t status : {1, -9999, 21}) {
    g_static_init_status = status;
    g_threads_asked_for = 0;
    g_start_calls.clear();
    expect_not_started("ippStaticInit Error : " + std::to_string(status) + "\n");
    EXPECT_EQ(g_start_calls, "init init threads ") << "the second call only in the next cycle";
  }
  for (const std::int32_t status : {20, -5, 2}) {
    g_set_num_threads_status = status;
    expect_not_started("ippSetNumThreads Error : " + std::to_string(status) + "\n");
  }
  system.fail(Call::kTlsAlloc);
  expect_not_started("TlsAlloc Error : 4711\n");
  system.fail(Call::kAllocate, 1);
  expect_not_started("");
}

TEST(StartCalls, AnswerAsOnEveryProcessorWithTheBaseline) {
  EXPECT_EQ(runtime::ippStaticInit(), 0);
  EXPECT_EQ(runtime::ippSetNumThreads(1), 0);
  EXPECT_EQ(runtime::ippSetNumThreads(2), 1);
}

}  // namespace
}  // namespace kyv::api
