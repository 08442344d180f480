// Lengths whose plans differ: every prime by a delta, long ones where 32-bit products and offsets would wrap,
// and the memory of plans between inaccessible pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "platform/platform.h"
#include "psfotf/reference.h"
#include "support/guarded_memory.h"

namespace kyv::psfotf::test {
namespace {

bool is_prime(std::int32_t n) {
  for (std::int32_t d = 2; d * d <= n; ++d)
    if (n % d == 0) return false;
  return n > 1;
}

// The error of the transform of a delta at element 1 of one line: its results are the n-th roots of unity, so
// that every factor of every step shows in some of them.
double error_of_delta(std::int32_t n, const Spectrum& roots, Precision precision,
                      const runtime::KernelSet& kernels) {
  Stack delta(1, n, 1);
  delta.re[n == 1 ? 0 : 1] = 1.0;
  const Stack result = converted(delta, Direction::kForward, precision, kernels);
  double worst = 0.0;
  for (std::size_t k = 0; k < result.re.size(); ++k) {
    worst = std::max(
        {worst, static_cast<double>(std::abs(static_cast<long double>(result.re[k]) - roots[k].real())),
         static_cast<double>(std::abs(static_cast<long double>(result.im[k]) - roots[k].imag()))});
  }
  return worst;
}

// With every kernel set, or with the best alone.
void expect_delta(std::int32_t n, bool every_set) {
  const Spectrum roots = extended_roots(n);
  for (const runtime::KernelSet* set : runnable_kernel_sets()) {
    if (!every_set && set != runnable_kernel_sets().front()) continue;
    EXPECT_LE(error_of_delta(n, roots, Precision::kSingle, *set), 3e-6) << n << ", " << set->name;
    EXPECT_LE(error_of_delta(n, roots, Precision::kDouble, *set), 6e-15) << n << ", " << set->name;
  }
}

TEST(Lengths, EveryPrimeTo5000TurnsADeltaIntoRoots) {
  for (std::int32_t n = 2; n <= 5000; ++n)
    if (is_prime(n)) expect_delta(n, n < 1000);
}

// Squares of these exceed 31 and 32 bits; some are Fermat's or have a smooth predecessor, some not.
TEST(Lengths, PrimesWhoseSquaresNeedMoreThan32Bits) {
  for (const std::int32_t n : {46337, 46349, 65521, 65537, 65539, 92683, 114689, 131071, 147457}) {
    ASSERT_TRUE(is_prime(n));
    expect_delta(n, false);
  }
}

// Planes that begin beyond 2^24 values, and beyond 2^27 bytes.
TEST(Lengths, PlanesFarIntoAStackAreThoseOfTheirOwn) {
  constexpr std::int32_t side = 512;
  constexpr std::int32_t planes = 66;
  Stack stack(side, side, planes);
  const Stack first = random_stack(side, side, 1, 3);
  const Stack last = random_stack(side, side, 1, 4);
  const auto size = static_cast<std::ptrdiff_t>(first.plane_size());
  std::copy(first.re.begin(), first.re.end(), stack.re.begin());
  std::copy(first.im.begin(), first.im.end(), stack.im.begin());
  std::copy(last.re.begin(), last.re.end(), stack.re.end() - size);
  std::copy(last.im.begin(), last.im.end(), stack.im.end() - size);
  const runtime::KernelSet& kernels = runtime::active_kernel_set();
  ASSERT_EQ(convert(stack, stack, Direction::kForward, Precision::kDouble, kernels), 0);
  const Stack expected_first = converted(first, Direction::kForward, Precision::kDouble, kernels);
  const Stack expected_last = converted(last, Direction::kForward, Precision::kDouble, kernels);
  EXPECT_TRUE(std::equal(expected_first.re.begin(), expected_first.re.end(), stack.re.begin()));
  EXPECT_TRUE(std::equal(expected_last.re.begin(), expected_last.re.end(), stack.re.end() - size));
  EXPECT_TRUE(std::equal(expected_last.im.begin(), expected_last.im.end(), stack.im.end() - size));
  EXPECT_TRUE(std::all_of(stack.re.begin() + size, stack.re.end() - size, [](double v) { return v == 0.0; }));
}

// Every block that the library takes ends at an inaccessible page, and holds rubbish.
std::map<void*, std::unique_ptr<kyv::test::GuardedMemory>> g_blocks;

void* guarded_malloc(std::size_t bytes) {
  auto memory = std::make_unique<kyv::test::GuardedMemory>(bytes);
  std::memset(memory->begin(), 0xFF, memory->size());
  void* const block = memory->end() - (bytes + 7) / 8 * 8;
  g_blocks.emplace(block, std::move(memory));
  return block;
}

void guarded_free(void* block) { g_blocks.erase(block); }

TEST(Lengths, PlansAndWorkspacesAreLargeEnoughAndWrittenBeforeTheyAreRead) {
  constexpr std::array<std::pair<std::int32_t, std::int32_t>, 41> shapes{
      {{1, 1},    {1, 7},    {1, 64},   {1, 1009}, {1, 4096}, {1, 4056},  {1, 3968},  {1, 10007}, {509, 1},
       {2, 3},    {2, 1187}, {4, 503},  {5, 719},  {3, 1021}, {1021, 3},  {9, 17},    {16, 48},   {33, 31},
       {60, 64},  {64, 60},  {65, 127}, {100, 90}, {254, 10}, {211, 211}, {256, 512}, {393, 128}, {2, 1823},
       {1823, 2}, {3, 2063}, {1823, 3}, {1187, 9}, {1, 3662}, {7, 1478},  {1, 3853},  {1163, 9},  {9, 1031},
       {5, 1621}, {9, 3662}, {5, 1929}, {3203, 5}, {3, 1811}}};
  for (const auto& [width, height] : shapes) {
    const Stack stack = random_stack(width, height, 2);
    for (const runtime::KernelSet* set : runnable_kernel_sets()) {
      for (const Precision precision : {Precision::kSingle, Precision::kDouble}) {
        const Stack expected = converted(stack, Direction::kForward, precision, *set);
        platform::services.malloc = guarded_malloc;
        platform::services.free = guarded_free;
        const Stack result = converted(stack, Direction::kForward, precision, *set);
        platform::services = platform::operating_system;
        EXPECT_TRUE(result == expected) << width << " x " << height << ", " << set->name;
        EXPECT_TRUE(g_blocks.empty());
      }
    }
  }
}

}  // namespace
}  // namespace kyv::psfotf::test
