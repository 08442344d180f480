// The column pass over row results, and the rounding to samples.
#pragma once

#include "resize/kernels/kernels.h"

namespace kyv::resize {
namespace {

// Vectors of a row that are summed together: enough independent chains, and few enough for the registers.
constexpr int kTile = sizeof(void*) == 8 ? 4 : 2;
constexpr std::size_t kTileSamples = static_cast<std::size_t>(kTile) * simd::F32::kLanes;

template <int kRows>
struct ColumnSums {
  simd::Sum v[kRows][kTile];
};

// Adds the taps `rows[0..count)` at sample `x` to the sums of kRows destination rows.
template <int kRows>
inline void add_rows(ColumnSums<kRows>& sums, const float* const* rows, const float* const* weights,
                     std::int32_t count, std::size_t x) noexcept {
  for (std::int32_t tap = 0; tap < count; ++tap) {
    const float* row = rows[tap] + x;
    simd::Samples samples[kTile];
    for (int i = 0; i < kTile; ++i) samples[i] = simd::load_samples(row + i * simd::F32::kLanes);
    for (int r = 0; r < kRows; ++r) {
      const simd::Weight weight = simd::load_weight(weights[r] + tap);
      for (int i = 0; i < kTile; ++i) {
        sums.v[r][i] = simd::accumulate<false>(weight, samples[i], sums.v[r][i]);
      }
    }
  }
}

// Rounds one tile to samples: kTileSamples of them.
template <int kBits>
inline void store_tile(std::uint8_t* dst, const simd::F32 (&v)[kTile]) noexcept {
  if constexpr (kBits == 16) {
    for (int i = 0; i < kTile; i += 2) {
      simd::store_rounded(dst + static_cast<std::size_t>(i) * simd::F32::kLanes * 2, v[i], v[i + 1]);
    }
  } else if constexpr (kTile == 4) {
    simd::store_rounded(dst, v[0], v[1], v[2], v[3]);
  } else {
    std::uint8_t four[4 * simd::F32::kLanes];
    simd::store_rounded(four, v[0], v[1], v[0], v[1]);
    __builtin_memcpy(dst, four, kTileSamples);
  }
}

// The same, but only the first `samples` of them.
template <int kBits>
inline void store_samples(std::uint8_t* dst, const simd::F32 (&v)[kTile], std::size_t samples) noexcept {
  if (samples >= kTileSamples) return store_tile<kBits>(dst, v);
  std::uint8_t tile[kTileSamples * kBits / 8];
  store_tile<kBits>(tile, v);
  __builtin_memcpy(dst, tile, samples * (kBits / 8));
}

inline void take_values(simd::F32 (&v)[kTile], const simd::Sum (&sums)[kTile]) noexcept {
  for (int i = 0; i < kTile; ++i) v[i] = simd::value_of(sums[i]);
}

inline void clear(simd::Sum (&sums)[kTile]) noexcept {
  for (auto& sum : sums) sum = simd::zero_sum();
}

template <int kBits>
inline void column_single(const ColumnPassArgs& args) noexcept {
  for (std::size_t x = 0; x < args.samples; x += kTileSamples) {
    ColumnSums<1> sums;
    clear(sums.v[0]);
    add_rows<1>(sums, args.rows, args.weights, args.count[0], x);
    simd::F32 v[kTile];
    take_values(v, sums.v[0]);
    store_samples<kBits>(static_cast<std::uint8_t*>(args.dst[0]) + x * (kBits / 8), v, args.samples - x);
  }
}

// Two rows: the taps of the first alone, the shared ones, those of the second alone.
template <int kBits>
inline void column_pair(const ColumnPassArgs& args) noexcept {
  const std::int32_t shared = args.count[0] - args.lead;
  const float* const both_weights[2] = {args.weights[0] + args.lead, args.weights[1]};
  const float* const tail_weights = args.weights[1] + shared;
  for (std::size_t x = 0; x < args.samples; x += kTileSamples) {
    ColumnSums<1> one;
    ColumnSums<2> both;
    clear(one.v[0]);
    add_rows<1>(one, args.rows, args.weights, args.lead, x);
    for (int i = 0; i < kTile; ++i) both.v[0][i] = one.v[0][i];
    clear(both.v[1]);
    add_rows<2>(both, args.rows + args.lead, both_weights, shared, x);
    simd::F32 v[kTile];
    take_values(v, both.v[0]);
    store_samples<kBits>(static_cast<std::uint8_t*>(args.dst[0]) + x * (kBits / 8), v, args.samples - x);
    for (int i = 0; i < kTile; ++i) one.v[0][i] = both.v[1][i];
    add_rows<1>(one, args.rows + args.count[0], &tail_weights, args.count[1] - shared, x);
    take_values(v, one.v[0]);
    store_samples<kBits>(static_cast<std::uint8_t*>(args.dst[1]) + x * (kBits / 8), v, args.samples - x);
  }
}

template <int kBits>
void column_pass(const ColumnPassArgs& args) noexcept {
  if (args.count[1] == 0) return column_single<kBits>(args);
  column_pair<kBits>(args);
}

void column_block(const ColumnPassArgs& args, bool first, float* totals) noexcept {
  for (std::size_t x = 0; x < args.samples; x += kTileSamples) {
    ColumnSums<1> sums;
    clear(sums.v[0]);
    add_rows<1>(sums, args.rows, args.weights, args.count[0], x);
    for (int i = 0; i < kTile; ++i) {
      float* total = totals + x + static_cast<std::size_t>(i) * simd::F32::kLanes;
      const simd::F32 sum = simd::value_of(sums.v[0][i]);
      simd::store(total, first ? sum : simd::load(total) + sum);
    }
  }
}

template <int kBits>
void store_row(const float* totals, std::size_t samples, void* dst) noexcept {
  for (std::size_t x = 0; x < samples; x += kTileSamples) {
    simd::F32 v[kTile];
    for (int i = 0; i < kTile; ++i)
      v[i] = simd::load(totals + x + static_cast<std::size_t>(i) * simd::F32::kLanes);
    store_samples<kBits>(static_cast<std::uint8_t*>(dst) + x * (kBits / 8), v, samples - x);
  }
}

}  // namespace
}  // namespace kyv::resize
