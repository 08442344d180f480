// The step that every sum consists of, on values where rounding the exact sum to double first would change a
// sample.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "resize/kernels/kernels.h"
#include "resize/reference.h"
#include "support/variants.h"

namespace kyv::test {
namespace {

constexpr std::size_t kSamples = 160;

class Accumulation : public PerVariant {
 protected:
  const resize::Kernels& kernels() const { return *GetParam().resize; }
};

// Sums half-way between two floats, but for a first product too small for a double to hold, or for any float;
// the last product makes a sample of one float and the next sample of the other. In a few lanes at a time:
// what one of them needs must not depend on its neighbours.
TEST_P(Accumulation, ColumnSamplesRoundOnce) {
  constexpr std::uint16_t kBelow = 24577;
  constexpr float kHalfWay = 24576.0f;  // times 1 + 2^-23: 24576 and one and a half of its last places
  std::vector<float> tiny(kSamples + resize::kColumnSlack);
  for (std::size_t k = 0; k < kSamples; ++k) {
    const float size = std::ldexp(1.0f, -38 - static_cast<int>(k % 110));
    tiny[k] = k % 3 == 0 ? 0.0f : k % 3 == 1 ? size : -size;
  }
  const auto is_half_way = [](std::size_t k) { return k / 4 % 3 == 0; };
  std::vector<float> half_way(tiny.size());
  for (std::size_t k = 0; k < kSamples; ++k) half_way[k] = is_half_way(k) ? kHalfWay : 0.0f;
  const std::vector<float> rest(tiny.size(), 1.5f - 0x1p-8f);
  const float* const rows[] = {tiny.data(), half_way.data(), rest.data()};
  for (const bool normal : {false, true}) {
    const float weights[] = {normal ? 1.0f : 0x1p-20f, 1.0f + 0x1p-23f, 1.0f};
    for (const int count : {1, 2}) {
      std::vector<std::uint16_t> results(2 * kSamples);
      resize::ColumnArgs args;
      args.rows = rows;
      args.samples = kSamples;
      args.kind = normal ? resize::ColumnSumKind::kNormal : resize::ColumnSumKind::kAny;
      for (int r = 0; r < count; ++r) {
        args.weights[r] = weights;
        args.count[r] = 3;
        args.dst[r] = results.data() + static_cast<std::size_t>(r) * kSamples;
      }
      kernels().columns.sum[resize::kDepth16](args);
      for (std::size_t k = 0; k < static_cast<std::size_t>(count) * kSamples; ++k) {
        const float first = reference::fused_multiply_add(weights[0], tiny[k % kSamples], 0.0f);
        const int of_half_way = first < 0.0f ? kBelow : kBelow + 1;
        ASSERT_EQ(results[k], is_half_way(k % kSamples) ? of_half_way : 1)
            << first << (normal ? ", normal" : "");
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, Accumulation,
                         testing::ValuesIn(runtime::all_kernel_sets().begin(),
                                           runtime::all_kernel_sets().end()),
                         variant_name);

}  // namespace
}  // namespace kyv::test
