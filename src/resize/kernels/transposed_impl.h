// The sums of the row pass whose lanes are rows.
#pragma once

#include "resize/kernels/transposed.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// Groups of rows in a batch of RGB: two pixels of one group of 8 lanes are too few sums to hide the latency
// of a multiply-add.
constexpr int kRgbGroups = simd::kHasFusedMultiplyAdd && simd::F32::kLanes == 8 ? 2 : 1;

// Sharing samples between two pixels takes more than 8 registers.
constexpr bool kPairs = sizeof(void*) == 8;

// Sums of so few taps are written out tap by tap: sharing samples with a neighbour costs them more than it
// saves, unless it spares turning them into doubles. Where nothing is shared anyway, so are longer ones.
constexpr std::int32_t kShortTaps = kPairs ? 4 : 8;
constexpr bool kHasShortSums = simd::kHasFusedMultiplyAdd;

// The sums of two pixels, kVectors vectors each.
template <int kVectors>
struct RowSums {
  simd::Sum v[2][kVectors];
};

template <int kPixel, int kVectors>
[[gnu::always_inline]] inline void clear(RowSums<kVectors>& sums) noexcept {
  unroll<0, kVectors>([&](auto i) { sums.v[kPixel][i] = simd::zero_sum(); });
}

template <int kPixel, int kVectors>
[[gnu::always_inline]] inline void store_sums(float* out, const RowSums<kVectors>& sums) noexcept {
  unroll<0, kVectors>(
      [&](auto i) { simd::store(out + i * simd::F32::kLanes, simd::value_of(sums.v[kPixel][i])); });
}

// Adds `count` taps to the pixels [kFirst, kEnd) of `sums`, which share the samples.
template <int kFirst, int kEnd, int kVectors, bool kExact>
[[gnu::always_inline]] inline void add_taps(RowSums<kVectors>& sums, const float* samples,
                                            const float* weights0, const float* weights1,
                                            Index count) noexcept {
  constexpr int kLanes = simd::F32::kLanes;
  const float* const weights[2] = {weights0, weights1};
  for (Index tap = 0; tap < count; ++tap) {
    simd::Weight weight[2];
    unroll<kFirst, kEnd>([&](auto pixel) { weight[pixel] = simd::load_weight(weights[pixel] + tap); });
    unroll<0, kVectors>([&](auto i) {
      const float* from = samples + i * kLanes;
      const simd::Samples x = kEnd - kFirst > 1 ? simd::load_shared_samples(from) : simd::load_samples(from);
      unroll<kFirst, kEnd>([&](auto pixel) {
        sums.v[pixel][i] = simd::accumulate<kExact>(weight[pixel], x, sums.v[pixel][i]);
      });
    });
    samples += kVectors * kLanes;
  }
}

// One pixel of any number of taps, block by block.
template <int kVectors, bool kExact>
inline void row_pixel(const TransposedArgs& args, const TapSpan& span, float* out) noexcept {
  constexpr int kLanes = simd::F32::kLanes;
  const float* samples = args.samples + (span.first - args.origin) * (kVectors * kLanes);
  const float* weights = args.table.weights_of(span);
  simd::F32 total[kVectors];
  unroll<0, kVectors>([&](auto i) { total[i] = simd::broadcast(0.0f); });
  for (Index done = 0; done < span.count; done += kTapBlock) {
    const Index rest = span.count - done;
    RowSums<kVectors> sums;
    clear<0>(sums);
    add_taps<0, 1, kVectors, kExact>(sums, samples, weights, weights, rest < kTapBlock ? rest : kTapBlock);
    unroll<0, kVectors>([&](auto i) { total[i] = total[i] + simd::value_of(sums.v[0][i]); });
    samples += kTapBlock * kVectors * kLanes;
    weights += kTapBlock;
  }
  unroll<0, kVectors>([&](auto i) { simd::store(out + i * kLanes, total[i]); });
}

// One pixel of kTaps taps.
template <int kVectors, int kTaps>
[[gnu::always_inline]] inline void row_taps(const float* samples, const float* weights, float* out) noexcept {
  RowSums<kVectors> sums;
  clear<0>(sums);
  unroll<0, kTaps>([&](auto tap) {
    add_taps<0, 1, kVectors, true>(sums, samples + tap * kVectors * simd::F32::kLanes, weights + tap, nullptr,
                                   1);
  });
  store_sums<0>(out, sums);
}

// Two neighbouring pixels of at most one block each whose taps overlap: those of the first alone, the shared
// ones, those of the second alone.
template <int kVectors, bool kExact>
inline void row_pair(const TransposedArgs& args, const TapSpan& a, const TapSpan& b, float* out) noexcept {
  constexpr int kPixel = kVectors * simd::F32::kLanes;
  const float* samples = args.samples + (a.first - args.origin) * kPixel;
  const float* weights0 = args.table.weights_of(a);
  const float* weights1 = args.table.weights_of(b);
  const Index lead = b.first - a.first;
  const Index shared = a.count - lead;

  RowSums<kVectors> sums;
  clear<0>(sums);
  add_taps<0, 1, kVectors, kExact>(sums, samples, weights0, weights1, lead);
  clear<1>(sums);
  add_taps<0, 2, kVectors, kExact>(sums, samples + lead * kPixel, weights0 + lead, weights1, shared);
  store_sums<0>(out, sums);
  weights1 += shared;
  add_taps<1, 2, kVectors, kExact>(sums, samples + a.count * kPixel, weights0, weights1, b.count - shared);
  store_sums<1>(out + kPixel, sums);
}

template <int kVectors, bool kExact>
void transposed_sums(const TransposedArgs& args) noexcept {
  constexpr int kPixel = kVectors * simd::F32::kLanes;
  const TapSpan* span = args.table.spans + args.first;
  float* out = args.out;
  for (Index left = args.count; left > 0;) {
    if (kHasShortSums && span->count <= kShortTaps) {
      const float* samples = args.samples + (span->first - args.origin) * kPixel;
      const float* weights = args.table.weights_of(*span);
      with_count<kShortTaps>(
          span->count, [=](auto taps) __attribute__((always_inline)) {
            row_taps<kVectors, taps>(samples, weights, out);
          });
      ++span;
      out += kPixel;
      --left;
      continue;
    }
    const bool pair = kPairs && left > 1 && span[0].count <= kTapBlock && span[1].count <= kTapBlock &&
                      overlap(span[0], span[1]);
    if (pair) {
      row_pair<kVectors, kExact>(args, span[0], span[1], out);
    } else {
      row_pixel<kVectors, kExact>(args, span[0], out);
    }
    const int step = pair ? 2 : 1;
    span += step;
    out += step * kPixel;
    left -= step;
  }
}

}  // namespace
}  // namespace kyv::resize
