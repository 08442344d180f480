// Running sums, kept in registers from the beginning to the end of a piece of the row.
#pragma once

#include "resize/kernels/running.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// For the pixels of a piece of kRunningBytes: the place of each byte of their four 32-bit numbers.
template <int kBits>
struct PixelPlaces {
  std::uint8_t places[128 / (4 * kBits) * kRunningBytes];
};
template <int kBits>
constexpr PixelPlaces<kBits> pixel_places() noexcept {
  PixelPlaces<kBits> all{};
  for (int i = 0; i < 128 / (4 * kBits) * static_cast<int>(kRunningBytes); ++i) {
    const int byte = i % 4;
    all.places[i] = static_cast<std::uint8_t>(byte < kBits / 8 ? i / 4 * (kBits / 8) + byte : 0x80);
  }
  return all;
}

// Floats of kSums sums of kVectors vectors, the next to end in front.
template <int kSums, int kVectors>
struct RunningTile {
  simd::F32 v[kSums][kVectors];
};

// Samples that were converted before.
template <int kVectors>
struct StoredSamples {
  const float* at;
  Index step;

  explicit StoredSamples(const RunningArgs& args) noexcept : at(args.samples), step(args.step) {}
  [[gnu::always_inline]] void arrive() noexcept {}
  [[gnu::always_inline]] simd::Samples sample(int i) const noexcept {
    return simd::load_shared_samples(at + i * simd::F32::kLanes);
  }
  [[gnu::always_inline]] void leave() noexcept { at += step; }
};

// Pixels of four channels, as they are in the rows: the vectors of rows [i], [i + 4], ...
template <int kBits, int kVectors>
struct RawPixels {
  static constexpr std::size_t kBytes = kBits / 2;  // of a pixel
  static constexpr std::size_t kPiece = kRunningBytes;
  static constexpr auto kPlaces = pixel_places<kBits>();
  const std::uint8_t* const* rows;
  std::size_t offset;  // bytes from the rows' starts
  simd::Raw raw[kVectors];
  simd::QuadPlaces places;

  explicit RawPixels(const RunningArgs& args) noexcept
      : rows(args.rows), offset(static_cast<std::size_t>(args.begin) * kBytes) {
    load(offset / kPiece * kPiece);
  }
  [[gnu::always_inline]] void load(std::size_t from) noexcept {
    unroll<0, kVectors>([&](auto i) { raw[i] = simd::load_quads(rows + i, static_cast<Index>(from)); });
  }
  [[gnu::always_inline]] void arrive() noexcept {
    const std::size_t within = offset % kPiece;
    if (within == 0) load(offset);
    places = simd::load_places(kPlaces.places + within / kBytes * kPiece);
  }
  [[gnu::always_inline]] simd::Samples sample(int i) const noexcept {
    return simd::quads_to_float(raw[i], places);
  }
  [[gnu::always_inline]] void leave() noexcept { offset += kBytes; }
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

template <int kBits, int kSums>
constexpr RunningSums* pixel_kernel() noexcept {
  constexpr int kVectors = fits_registers<kSums, 4>() ? 4 : fits_registers<kSums, 2>() ? 2 : 1;
  return running_sums<RawPixels<kBits, kVectors>, kSums, kVectors>;
}

// Three and five sums run as four and six, the last of which has weights of zero.
constexpr RunningKernels running_kernels() noexcept {
  return {
      .add =
          {{running_kernel<1, 1>(), running_kernel<1, 2>(), running_kernel<1, 3>(), running_kernel<1, 4>()},
           {running_kernel<2, 1>(), running_kernel<2, 2>(), running_kernel<2, 3>(), running_kernel<2, 4>()},
           {},
           {running_kernel<4, 1>(), running_kernel<4, 2>(), running_kernel<4, 3>(), running_kernel<4, 4>()},
           {},
           {running_kernel<6, 1>(), running_kernel<6, 2>(), running_kernel<6, 3>(), running_kernel<6, 4>()}},
      .add_pixels = {
          {pixel_kernel<8, 1>(), pixel_kernel<8, 2>(), {}, pixel_kernel<8, 4>(), {}, pixel_kernel<8, 6>()},
          {pixel_kernel<16, 1>(),
           pixel_kernel<16, 2>(),
           {},
           pixel_kernel<16, 4>(),
           {},
           pixel_kernel<16, 6>()}}};
}

}  // namespace
}  // namespace kyv::resize
