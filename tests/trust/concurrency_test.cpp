// Sixteen host threads in the working exports at once, with start-up and shut-down between the bursts: the
// results are those of one thread, and no thread leaves anything behind.
#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "support/faulty_system.h"
#include "trust/export_calls.h"

namespace kyv::trust {
namespace {

using platform::operating_system;

constexpr std::size_t kThreads = 16;
constexpr std::size_t kCallsPerThread = 125;
constexpr int kBursts = 4;

struct Expected {
  KyvMathStatusCode status;
  Bytes output;
};

// What one thread does: every call in turn, from a place of its own.
struct Host {
  std::size_t first = 0;
  std::vector<ExportCall> calls;
  const std::vector<Expected>* expected = nullptr;  // or none: the calls are to succeed
  platform::Handle start = nullptr;                 // an event
  std::size_t wrong = 0;
  std::size_t made = 0;

  KYV_REALIGN_STACK static unsigned KYV_STDCALL run(void* self) {
    static_cast<Host*>(self)->run_calls();
    return 0;
  }

  void run_calls() {
    operating_system.WaitForSingleObject(start);
    for (std::size_t i = 0; i < kCallsPerThread; ++i, ++made) {
      const std::size_t index = (first + i * 7) % calls.size();
      ExportCall& call = calls[index];
      call.clear_output();
      const KyvMathStatusCode status = call.run();
      const bool right = expected == nullptr ? status == KYVMATH_OK
                                             : status == (*expected)[index].status &&
                                                   call.output() == (*expected)[index].output;
      wrong += right ? 0 : 1;
    }
  }
};

std::vector<Expected> single_threaded_results() {
  std::vector<Expected> results;
  for (ExportCall& call : all_export_calls()) {
    const KyvMathStatusCode status = call.run();
    results.push_back({status, call.output()});
  }
  return results;
}

// All threads begin together; returns the number of calls that were made, and counts those that were wrong.
std::size_t run_burst(std::vector<Host>& hosts, std::size_t& wrong) {
  std::vector<platform::Handle> threads;
  for (Host& host : hosts) {
    host.start = operating_system.CreateEventW();
    host.made = host.wrong = 0;
    std::uint32_t identifier = 0;
    threads.push_back(operating_system._beginthreadex(Host::run, &host, &identifier));
  }
  for (const Host& host : hosts) operating_system.SetEvent(host.start);
  std::size_t made = 0;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    if (threads[i] == nullptr) continue;
    operating_system.WaitForSingleObject(threads[i]);
    operating_system.CloseHandle(threads[i]);
    operating_system.CloseHandle(hosts[i].start);
    made += hosts[i].made;
    wrong += hosts[i].wrong;
  }
  return made;
}

std::vector<Host> make_hosts(const std::vector<Expected>& expected) {
  std::vector<Host> hosts(kThreads);
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    hosts[i].calls = all_export_calls();
    hosts[i].first = i * hosts[i].calls.size() / kThreads;
    hosts[i].expected = &expected;
  }
  return hosts;
}

// The bursts run once on the bare system, where no counter of the test's own can hide a race from a checker,
// and once on one that counts.
TEST(Concurrency, BurstsOfSixteenThreadsGiveTheResultsOfOne) {
  ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
  const std::vector<Expected> expected = single_threaded_results();
  ASSERT_EQ(KyvMathTerminate(), KYVMATH_OK);
  std::vector<Host> hosts = make_hosts(expected);
  std::size_t made = 0;
  std::size_t wrong = 0;
  for (int burst = 0; burst < kBursts; ++burst) {
    ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
    made += run_burst(hosts, wrong);
    ASSERT_EQ(KyvMathTerminate(), KYVMATH_OK);
  }
  EXPECT_EQ(wrong, 0u);
  EXPECT_EQ(made, kBursts * kThreads * kCallsPerThread);
  std::printf("[  CALLS   ] %u from %u threads\n", static_cast<unsigned>(made),
              static_cast<unsigned>(kThreads));
}

TEST(Concurrency, NoContextOutlivesItsCall) {
  testing_support::FaultySystem system;
  ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
  const int idle = system.live_allocations();
  const std::vector<Expected> expected = single_threaded_results();
  std::vector<Host> hosts = make_hosts(expected);
  std::size_t wrong = 0;
  for (int burst = 0; burst < kBursts; ++burst) {
    EXPECT_EQ(run_burst(hosts, wrong), kThreads * kCallsPerThread);
    EXPECT_EQ(system.live_allocations(), idle);
    EXPECT_EQ(system.live_handles(), 0);
    ASSERT_EQ(KyvMathTerminate(), KYVMATH_OK);
    EXPECT_TRUE(system.nothing_leaked());
    ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
  }
  EXPECT_EQ(wrong, 0u);
  ASSERT_EQ(KyvMathTerminate(), KYVMATH_OK);
}

// Conversions ask for no start-up: these are the first calls of their process, and of sixteen threads at
// once.
TEST(ConcurrentConversions, BeforeAnyStartUp) {
  std::vector<ExportCall> conversions = all_export_calls();
  std::erase_if(conversions, [](const ExportCall& call) { return call.is_resize(); });
  std::vector<Host> hosts(kThreads);
  for (Host& host : hosts) host.calls = conversions;
  std::size_t wrong = 0;
  EXPECT_EQ(run_burst(hosts, wrong), kThreads * kCallsPerThread);
  EXPECT_EQ(wrong, 0u);
  for (std::size_t i = 0; i < conversions.size(); ++i) {
    ASSERT_EQ(conversions[i].run(), KYVMATH_OK);
    for (const Host& host : hosts) {
      EXPECT_TRUE(host.calls[i].output() == conversions[i].output()) << conversions[i].name();
    }
  }
}

}  // namespace
}  // namespace kyv::trust
