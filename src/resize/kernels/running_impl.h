// Running sums, kept in registers from the beginning to the end of a piece of the row.
#pragma once

#include "resize/kernels/running.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// Floats of kSums sums of kVectors vectors, the next to end in front.
template <int kSums, int kVectors>
struct RunningTile {
  simd::F32 v[kSums][kVectors];
};

// Adds the samples at `count` positions.
template <int kSums, int kVectors>
[[gnu::always_inline]] inline void add_run(RunningTile<kSums, kVectors>& tile, const float*& samples,
                                           const float*& weights, Index step, Index count) noexcept {
  for (; count > 0; --count) {
    simd::Samples x[kVectors];
    unroll<0, kVectors>([&](auto i) { x[i] = simd::load_shared_samples(samples + i * simd::F32::kLanes); });
    unroll<0, kSums>([&](auto sum) {
      const simd::Weight weight = simd::load_weight(weights + sum);
      unroll<0, kVectors>(
          [&](auto i) { tile.v[sum][i] = simd::accumulate<false>(weight, x[i], tile.v[sum][i]); });
    });
    samples += step;
    weights += kSums;
  }
}

// Stores the sum in front, moves the others up and begins another one.
template <int kSums, int kVectors>
[[gnu::always_inline]] inline void end_sum(RunningTile<kSums, kVectors>& tile, float* out) noexcept {
  unroll<0, kVectors>([&](auto i) { simd::store(out + i * simd::F32::kLanes, tile.v[0][i]); });
  unroll<1, kSums>(
      [&](auto sum) { unroll<0, kVectors>([&](auto i) { tile.v[sum - 1][i] = tile.v[sum][i]; }); });
  unroll<0, kVectors>([&](auto i) { tile.v[kSums - 1][i] = simd::zero_sum(); });
}

template <int kSums, int kVectors>
void running_sums(const RunningArgs& given) noexcept {
  const RunningArgs args = given;
  const auto state = [&](int sum, int i) { return args.sums + (sum * kVectors + i) * simd::F32::kLanes; };
  RunningTile<kSums, kVectors> tile;
  unroll<0, kSums>(
      [&](auto sum) { unroll<0, kVectors>([&](auto i) { tile.v[sum][i] = simd::load(state(sum, i)); }); });
  const float* samples = args.samples;
  const float* weights = args.weights;
  const std::int32_t* next = args.ends;
  float* out = args.out;
  Index position = args.begin;
  for (; *next <= args.end; ++next, out += args.step) {
    add_run(tile, samples, weights, args.step, *next - position);
    position = *next;
    end_sum(tile, out);
  }
  add_run(tile, samples, weights, args.step, args.end - position);
  unroll<0, kSums>(
      [&](auto sum) { unroll<0, kVectors>([&](auto i) { simd::store(state(sum, i), tile.v[sum][i]); }); });
}

// Whether sums, samples and (but for AVX-512, whose multiply-adds broadcast a weight) a weight fit the
// registers.
template <int kSums, int kVectors>
constexpr bool fits_registers() noexcept {
  constexpr int kWeight = simd::F32::kLanes == 16 ? 0 : 1;
  return kSums * kVectors + kVectors + kWeight <= simd::kRegisters;
}

template <int kSums, int kVectors>
constexpr RunningSums* running_kernel() noexcept {
  if constexpr (simd::kHasFusedMultiplyAdd && fits_registers<kSums, kVectors>()) {
    return running_sums<kSums, kVectors>;
  } else {
    return nullptr;
  }
}

// Three and five sums run as four and six, the last of which has weights of zero.
constexpr RunningKernels running_kernels() noexcept {
  return {
      .add = {
          {running_kernel<1, 1>(), running_kernel<1, 2>(), running_kernel<1, 3>(), running_kernel<1, 4>()},
          {running_kernel<2, 1>(), running_kernel<2, 2>(), running_kernel<2, 3>(), running_kernel<2, 4>()},
          {},
          {running_kernel<4, 1>(), running_kernel<4, 2>(), running_kernel<4, 3>(), running_kernel<4, 4>()},
          {},
          {running_kernel<6, 1>(), running_kernel<6, 2>(), running_kernel<6, 3>(), running_kernel<6, 4>()}}};
}

}  // namespace
}  // namespace kyv::resize
