// The step that every sum consists of, on values where rounding the exact sum to double first would show.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "resize/kernels/kernels.h"
#include "resize/reference.h"
#include "support/variants.h"

namespace kyv::test {
namespace {

constexpr std::size_t kSamples = 160;

std::uint32_t bits_of(float value) { return std::bit_cast<std::uint32_t>(value); }

// weight * sample lies half-way between two floats; the accumulator, far below the last place of a double,
// says to which side the sum goes.
struct HardCases {
  float weight = 0.0f;
  std::vector<float> accumulators = std::vector<float>(kSamples + resize::kColumnSlack);
  std::vector<float> samples = std::vector<float>(kSamples + resize::kColumnSlack);

  explicit HardCases(std::mt19937& random) {
    const auto odd = [&] { return static_cast<float>(random() % 1024 * 2 + 1); };
    const auto sign = [&] { return random() % 2 == 0 ? 1.0f : -1.0f; };
    weight = sign() * (1.0f + std::ldexp(odd(), -12));
    for (std::size_t k = 0; k < kSamples; ++k) {
      samples[k] = sign() * (1.0f + std::ldexp(odd(), -12));
      const int exponent = k % 8 == 7 ? -24 : -55 - static_cast<int>(random() % 94);
      accumulators[k] = k % 16 == 0 ? 0.0f : sign() * std::ldexp(1.0f, exponent);
    }
  }

  float expected(std::size_t k) const {
    return reference::fused_multiply_add(weight, samples[k], accumulators[k]);
  }
};

class Accumulation : public PerVariant {
 protected:
  const resize::Kernels& kernels() const { return *GetParam().resize; }
};

TEST_P(Accumulation, ColumnSumsRoundOnce) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    const HardCases cases(random);
    const float* const rows[] = {cases.accumulators.data(), cases.samples.data()};
    const float weights[] = {1.0f, cases.weight};
    resize::ColumnArgs args;
    args.rows = rows;
    args.weights[0] = weights;
    args.count[0] = 2;
    args.samples = kSamples;
    std::vector<float> totals(kSamples + resize::kColumnSlack);
    kernels().columns.add_block(args, true, totals.data());
    for (std::size_t k = 0; k < kSamples; ++k) {
      ASSERT_EQ(bits_of(totals[k]), bits_of(cases.expected(k)))
          << cases.weight << " * " << cases.samples[k] << " + " << cases.accumulators[k];
    }
  }
}

// Sums half-way between two floats, but for a first product too small for a double to hold; the last product
// makes a sample of one float and the next sample of the other.
TEST_P(Accumulation, ColumnSamplesRoundOnce) {
  constexpr std::uint16_t kBelow = 24577;
  constexpr float kHalfWay = 24576.0f;  // times 1 + 2^-23: 24576 and one and a half of its last places
  const float weights[] = {1.0f, 1.0f + 0x1p-23f, 1.0f};
  std::vector<float> tiny(kSamples + resize::kColumnSlack);
  for (std::size_t k = 0; k < kSamples; ++k) {
    const float size = std::ldexp(1.0f, -38 - static_cast<int>(k % 110));
    tiny[k] = k % 3 == 0 ? 0.0f : k % 3 == 1 ? size : -size;
  }
  const std::vector<float> half_way(tiny.size(), kHalfWay);
  const std::vector<float> rest(tiny.size(), 1.5f - 0x1p-8f);
  const float* const rows[] = {tiny.data(), half_way.data(), rest.data()};
  for (const bool normal : {false, true}) {
    for (const int count : {1, 2}) {
      std::vector<std::uint16_t> results(2 * kSamples);
      resize::ColumnArgs args;
      args.rows = rows;
      args.samples = kSamples;
      args.normal = normal;
      for (int r = 0; r < count; ++r) {
        args.weights[r] = weights;
        args.count[r] = 3;
        args.dst[r] = results.data() + static_cast<std::size_t>(r) * kSamples;
      }
      kernels().columns.sum[resize::kDepth16](args);
      for (std::size_t k = 0; k < static_cast<std::size_t>(count) * kSamples; ++k) {
        const float first = tiny[k % kSamples];
        ASSERT_EQ(results[k], first < 0.0f ? kBelow : kBelow + 1) << first << (normal ? ", normal" : "");
      }
    }
  }
}

TEST_P(Accumulation, RowSumsRoundOnce) {
  const auto lanes = static_cast<std::size_t>(kernels().transposed.lanes);
  constexpr std::int32_t kPixels = 2;
  std::mt19937 random(2);
  for (int round = 0; round < 200; ++round) {
    const HardCases cases(random);
    const std::size_t vectors_of[3] = {1, 3 * static_cast<std::size_t>(kernels().transposed.rgb_groups), 4};
    for (std::size_t which = 0; which < 3; ++which) {
      const std::size_t vectors = vectors_of[which];
      // Pixel 2i of the block holds the accumulators of destination pixel i, pixel 2i + 1 its samples.
      const std::size_t values = vectors * lanes;
      std::vector<float> block((2 * kPixels + 16) * values + 256);
      for (std::size_t k = 0; k < kPixels * values; ++k) {
        const std::size_t pixel = k / values * 2;
        block[pixel * values + k % values] = cases.accumulators[k % kSamples];
        block[(pixel + 1) * values + k % values] = cases.samples[k % kSamples];
      }
      const resize::TapSpan spans[kPixels] = {{0, 2, 0}, {2, 2, 0}};
      std::vector<float> weights(resize::kTapBlock);
      weights[0] = 1.0f;
      weights[1] = cases.weight;
      std::vector<float> out((kPixels + 4) * values + 256);
      resize::TransposedArgs args;
      args.samples = block.data();
      args.table = {spans, weights.data(), resize::kTapBlock};
      args.count = kPixels;
      args.out = out.data();
      kernels().transposed.sum[which][resize::kRoundedSums](args);
      for (std::size_t k = 0; k < kPixels * values; ++k) {
        ASSERT_EQ(bits_of(out[k]), bits_of(cases.expected(k % kSamples)))
            << vectors << " vectors, value " << k;
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
