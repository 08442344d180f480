// The shared library itself, loaded and unloaded as a host does it, a thousand times over; also as a host
// that forgets to shut it down.
#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "KyvMath.h"
#include "trust/process.h"

namespace kyv::trust {
namespace {

constexpr int kWarmUp = 20;
constexpr int kLoads = 1000;
constexpr int kMoreLoadsThanSlots = 1200;            // Windows has 1088 slots for a process, Linux 1024
constexpr std::ptrdiff_t kMemoryNoise = 256 * 1024;  // what a process may take for itself meanwhile

enum class End { kShutDown, kForgotten };

// One life of the library: loaded, started, used, ended, unloaded. True when every step worked.
bool live_once(End end) {
  LoadedLibrary library(KYVMATH_LIBRARY_FILE);
  if (!library.loaded()) return false;
  const auto initialize = library.function<KyvMathInitializeFn>("KyvMathInitialize");
  const auto terminate = library.function<KyvMathTerminateFn>("KyvMathTerminate");
  const auto resize = library.function<KyvMathResizeFn>("KyvMathResize");
  const auto convert = library.function<KyvMathConvertFn>("KyvMathConvertOtfFromPsf_D");
  if (initialize == nullptr || terminate == nullptr || resize == nullptr || convert == nullptr) return false;

  const std::vector<unsigned char> image(12 * 12, 77);
  std::vector<unsigned char> smaller(5 * 5);
  std::vector<double> impulse(2 * 35);
  std::vector<double> otf(2 * 35);
  impulse[0] = 1;
  bool right = initialize() == KYVMATH_OK;
  right &= resize(KYVMATH_LANCZOS, 1, 8, image.data(), 12, 12, 12, smaller.data(), 5, 5, 5) == KYVMATH_OK;
  right &= smaller == std::vector<unsigned char>(5 * 5, 77);
  right &= convert(&impulse[0], &impulse[35], &otf[0], &otf[35], 5, 7, 1) == KYVMATH_OK;
  for (std::size_t i = 0; i < 35; ++i) right &= otf[i] == 1 && otf[35 + i] == 0;
  return (end == End::kForgotten || terminate() == KYVMATH_OK) && right;
}

// The library lives `lives` times and leaves nothing behind.
void expect_nothing_left(int lives, End end) {
  for (int i = 0; i < kWarmUp; ++i) ASSERT_TRUE(live_once(end));
  const ProcessHoldings before = holdings_of_this_process();
  int good = 0;
  for (int i = 0; i < lives; ++i) good += live_once(end) ? 1 : 0;
  const ProcessHoldings after = holdings_of_this_process();
  EXPECT_EQ(good, lives);
  EXPECT_FALSE(is_loaded(KYVMATH_LIBRARY_FILE)) << "it could not be unloaded";
  EXPECT_EQ(after.handles, before.handles);
  EXPECT_EQ(after.mappings, before.mappings);
  EXPECT_EQ(after.next_slot, before.next_slot);
  EXPECT_LT(after.memory - before.memory, kMemoryNoise);
  std::printf("[  LOADS   ] %d, %ld bytes\n", good, static_cast<long>(after.memory - before.memory));
}

TEST(Loading, AThousandTimesLeavesNothingBehind) { expect_nothing_left(kLoads, End::kShutDown); }

TEST(Loading, MoreOftenThanThereAreSlotsWithoutShutDownLeavesNothingBehind) {
  expect_nothing_left(kMoreLoadsThanSlots, End::kForgotten);
}

}  // namespace
}  // namespace kyv::trust
