// The row pass over a block of rows whose samples are vectors of rows.
#pragma once

#include "resize/kernels/kernels.h"

namespace kyv::resize {
namespace {

// The sums of kPixels pixels, kVectors vectors each.
template <int kPixels, int kVectors>
struct RowSums {
  simd::Sum v[kPixels][kVectors];
};

// Adds `count` taps to every pixel of `sums`; the pixels share the samples.
template <int kPixels, int kVectors, bool kExact>
inline void add_taps(RowSums<kPixels, kVectors>& sums, const float* samples, const float* const* weights,
                     std::int64_t count) noexcept {
  constexpr int kLanes = simd::F32::kLanes;
  const float* w[kPixels];
  for (int p = 0; p < kPixels; ++p) w[p] = weights[p];
  for (std::int64_t tap = 0; tap < count; ++tap) {
    simd::Samples x[kVectors];
    for (int i = 0; i < kVectors; ++i) x[i] = simd::load_samples(samples + i * kLanes);
    samples += kVectors * kLanes;
    for (int p = 0; p < kPixels; ++p) {
      const simd::Weight weight = simd::load_weight(w[p]++);
      for (int i = 0; i < kVectors; ++i) {
        sums.v[p][i] = simd::accumulate<kExact>(weight, x[i], sums.v[p][i]);
      }
    }
  }
}

template <int kPixels, int kVectors>
inline RowSums<kPixels, kVectors> zero_sums() noexcept {
  RowSums<kPixels, kVectors> sums;
  for (auto& pixel : sums.v) {
    for (auto& sum : pixel) sum = simd::zero_sum();
  }
  return sums;
}

// One pixel of any number of taps, block by block.
template <int kVectors, bool kExact>
inline void row_pixel(const RowPassArgs& args, const TapSpan& span, float* out) noexcept {
  constexpr int kLanes = simd::F32::kLanes;
  const float* samples = args.samples + (span.first - args.origin) * (kVectors * kLanes);
  const float* weights = args.table.weights + span.phase * args.table.stride;
  simd::F32 total[kVectors];
  for (auto& t : total) t = simd::broadcast(0.0f);
  for (std::int32_t done = 0; done < span.count || done == 0; done += kTapBlock) {
    const std::int32_t rest = span.count - done;
    auto sums = zero_sums<1, kVectors>();
    add_taps<1, kVectors, kExact>(sums, samples, &weights, rest < kTapBlock ? rest : kTapBlock);
    for (int i = 0; i < kVectors; ++i) {
      total[i] = total[i] + simd::value_of(sums.v[0][i]);
    }
    samples += kTapBlock * kVectors * kLanes;
    weights += kTapBlock;
  }
  for (int i = 0; i < kVectors; ++i) simd::store(out + i * kLanes, total[i]);
}

// Two neighbouring pixels of at most one block each whose taps overlap: those of the first alone, the shared
// ones, those of the second alone.
template <int kVectors, bool kExact>
inline void row_pair(const RowPassArgs& args, const TapSpan& a, const TapSpan& b, float* out) noexcept {
  constexpr int kLanes = simd::F32::kLanes;
  constexpr int kPixel = kVectors * kLanes;
  const float* samples = args.samples + (a.first - args.origin) * kPixel;
  const float* weights[2] = {args.table.weights + a.phase * args.table.stride,
                             args.table.weights + b.phase * args.table.stride};
  const std::int64_t lead = b.first - a.first;
  const std::int64_t shared = a.count - lead;

  auto head = zero_sums<1, kVectors>();
  add_taps<1, kVectors, kExact>(head, samples, weights, lead);
  RowSums<2, kVectors> both;
  for (int i = 0; i < kVectors; ++i) {
    both.v[0][i] = head.v[0][i];
    both.v[1][i] = simd::zero_sum();
  }
  weights[0] += lead;
  add_taps<2, kVectors, kExact>(both, samples + lead * kPixel, weights, shared);
  RowSums<1, kVectors> tail;
  for (int i = 0; i < kVectors; ++i) {
    simd::store(out + i * kLanes, simd::value_of(both.v[0][i]));
    tail.v[0][i] = both.v[1][i];
  }
  weights[1] += shared;
  add_taps<1, kVectors, kExact>(tail, samples + a.count * kPixel, weights + 1, b.count - shared);
  for (int i = 0; i < kVectors; ++i) simd::store(out + kPixel + i * kLanes, simd::value_of(tail.v[0][i]));
}

template <int kVectors, bool kExact>
void row_pass(const RowPassArgs& args) noexcept {
  constexpr int kPixel = kVectors * simd::F32::kLanes;
  const TapSpan* span = args.table.spans + args.first;
  float* out = args.out;
  for (std::int32_t left = args.count; left > 0;) {
    const bool pair = left > 1 && span[0].count <= kTapBlock && span[1].count <= kTapBlock &&
                      span[1].first < span[0].first + span[0].count &&
                      span[1].first + span[1].count >= span[0].first + span[0].count;
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
