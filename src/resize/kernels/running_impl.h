// Running sums, kept in registers from the beginning to the end of a piece of the row.
#pragma once

#include "resize/kernels/running_sources.h"
#include "resize/kernels/transposed_impl.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// Floats of kSums sums of kVectors vectors, the next to end in front.
template <int kSums, int kVectors>
struct RunningTile {
  simd::F32 v[kSums][kVectors];
};

// Adds the samples at `count` positions.
template <class Source, int kSums, int kVectors>
[[gnu::always_inline]] inline void add_run(RunningTile<kSums, kVectors>& tile, Source& source,
                                           const float*& weights, Index count) noexcept {
  for (; count > 0; --count) {
    source.arrive();
    simd::Samples x[kVectors];
    unroll<0, kVectors>([&](auto i) { x[i] = source.sample(i); });
    unroll<0, kSums>([&](auto sum) {
      const simd::Weight weight = simd::load_weight(weights + sum);
      unroll<0, kVectors>(
          [&](auto i) { tile.v[sum][i] = simd::accumulate<false>(weight, x[i], tile.v[sum][i]); });
    });
    source.leave();
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

template <class Source, int kSums, int kVectors>
void running_sums(const RunningArgs& args) noexcept {
  float* const sums = args.sums;
  const auto state = [=](int sum, int i) { return sums + (sum * kVectors + i) * simd::F32::kLanes; };
  RunningTile<kSums, kVectors> tile;
  unroll<0, kSums>(
      [&](auto sum) { unroll<0, kVectors>([&](auto i) { tile.v[sum][i] = simd::load(state(sum, i)); }); });
  Source source(args);
  const float* weights = args.weights;
  const std::int32_t* next = args.ends;
  float* out = args.out;
  const Index end = args.end;
  const Index step = args.step;
  Index position = args.begin;
  for (; *next <= end; ++next, out += step) {
    add_run(tile, source, weights, *next - position);
    position = *next;
    end_sum(tile, out);
  }
  add_run(tile, source, weights, end - position);
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

// Two vectors at a time are for where four are too many.
template <int kSums, int kVectors>
constexpr RunningSums* running_kernel() noexcept {
  if constexpr (fits_registers<kSums, kVectors>() && !(kVectors == 2 && fits_registers<kSums, 4>())) {
    return running_sums<StoredSamples<kVectors>, kSums, kVectors>;
  } else {
    return nullptr;
  }
}

// The same for a pixel of so many vectors in bytes.
template <int kSums, int kVectors>
constexpr int at_once() noexcept {
  if (fits_registers<kSums, kVectors>()) return kVectors;
  return kVectors == 4 && fits_registers<kSums, 2>() ? 2 : 1;
}

template <RunningSource kSource, int kBits, int kSums>
constexpr RunningSums* bytes_kernel() noexcept {
  constexpr int kMost = kSource == kPackedRgb ? 3 : 4;
  constexpr int kVectors = at_once<kSums, kMost>();
  if constexpr (kSource == kPackedGrey) {
    return running_sums<PackedSamples<kBits, 1, kVectors>, kSums, kVectors>;
  } else if constexpr (kSource == kPackedRgb) {
    return running_sums<PackedSamples<kBits, 3, kVectors>, kSums, kVectors>;
  } else {
    return running_sums<RawPixels<kBits, kVectors>, kSums, kVectors>;
  }
}

template <RunningSource kSource, int kBits>
constexpr void set_bytes_kernels(RunningKernels& kernels) noexcept {
  RunningSums** const sums = kernels.add_bytes[kSource][kBits == 8 ? kDepth8 : kDepth16];
  sums[0] = bytes_kernel<kSource, kBits, 1>();
  sums[1] = bytes_kernel<kSource, kBits, 2>();
  sums[3] = bytes_kernel<kSource, kBits, 4>();
  sums[5] = bytes_kernel<kSource, kBits, 6>();
}

// Three and five sums run as four and six, the last of which has weights of zero.
constexpr RunningKernels running_kernels() noexcept {
  RunningKernels kernels = {
      .add =
          {{running_kernel<1, 1>(), running_kernel<1, 2>(), running_kernel<1, 3>(), running_kernel<1, 4>()},
           {running_kernel<2, 1>(), running_kernel<2, 2>(), running_kernel<2, 3>(), running_kernel<2, 4>()},
           {},
           {running_kernel<4, 1>(), running_kernel<4, 2>(), running_kernel<4, 3>(), running_kernel<4, 4>()},
           {},
           {running_kernel<6, 1>(), running_kernel<6, 2>(), running_kernel<6, 3>(), running_kernel<6, 4>()}},
      .pack = pack_rows};
  set_bytes_kernels<kPackedGrey, 8>(kernels);
  set_bytes_kernels<kPackedGrey, 16>(kernels);
  if constexpr (kRgbGroups == 1) {
    set_bytes_kernels<kPackedRgb, 8>(kernels);
    set_bytes_kernels<kPackedRgb, 16>(kernels);
  }
  set_bytes_kernels<kRgbaRows, 8>(kernels);
  set_bytes_kernels<kRgbaRows, 16>(kernels);
  return kernels;
}

}  // namespace
}  // namespace kyv::resize
