// The column pass over row results, and the rounding to samples.
#pragma once

#include "resize/kernels/columns.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// Vectors of a row that are summed together: enough independent chains, and few enough for the registers.
constexpr int kTile = 4;
// Two rows share the samples that they have in common where there are 16 registers.
constexpr bool kSharesRows = sizeof(void*) == 8;
constexpr Index kTileSamples = Index{kTile} * simd::F32::kLanes;

// Vectors of a group: the least of a tile at the end of a row.
constexpr int kGroupVectors = kColumnGroup < kTileSamples ? int{kColumnGroup} / simd::F32::kLanes : kTile;
static_assert(Index{kGroupVectors} * simd::F32::kLanes <= kColumnGroup);

// Calls body(x, vectors) for the tiles of a row, whose last one has only the vectors that it needs.
template <class Body>
[[gnu::always_inline]] inline void for_each_tile(Index samples, const Body& body) noexcept {
  Index x = 0;
  for (; samples - x >= kTileSamples; x += kTileSamples) body(x, Constant<kTile>());
  if (x == samples) return;
  const auto groups = static_cast<std::int32_t>((samples - x + kColumnGroup - 1) / kColumnGroup);
  with_count<kTile / kGroupVectors>(kGroupVectors == kTile ? 1 : groups,
                                    [&](auto count) { body(x, Constant<count * kGroupVectors>()); });
}

template <int kVectors>
struct ColumnSums {
  simd::Sum v[2][kVectors];
};

template <int kRow, int kVectors>
[[gnu::always_inline]] inline void clear(ColumnSums<kVectors>& sums) noexcept {
  unroll<0, kVectors>([&](auto i) { sums.v[kRow][i] = simd::zero_sum(); });
}

// Adds the taps `rows[0..count)` at sample `x` to the sums of the destination rows [kFirst, kEnd).
template <int kFirst, int kEnd, bool kNormal, int kVectors>
[[gnu::always_inline]] inline void add_rows(ColumnSums<kVectors>& sums, const float* const* rows,
                                            const float* weights0, const float* weights1, Index count,
                                            Index x) noexcept {
  const float* const weights[2] = {weights0, weights1};
  for (Index tap = 0; tap < count; ++tap) {
    const float* row = rows[tap] + x;
    simd::Samples samples[kVectors];
    unroll<0, kVectors>([&](auto i) {
      const float* from = row + i * simd::F32::kLanes;
      samples[i] = kEnd - kFirst > 1 ? simd::load_shared_samples(from) : simd::load_samples(from);
    });
    unroll<kFirst, kEnd>([&](auto r) {
      const simd::Weight weight = simd::load_weight(weights[r] + tap);
      if constexpr (kNormal) {
        unroll<0, kVectors / 2>(
            [&](auto i) { simd::accumulate_two(weight, samples + 2 * i, sums.v[r] + 2 * i); });
      } else {
        unroll<0, kVectors>(
            [&](auto i) { sums.v[r][i] = simd::accumulate<false>(weight, samples[i], sums.v[r][i]); });
      }
    });
  }
}

// Rounds one tile to samples: kTileSamples of them.
template <int kBits>
inline void store_tile(std::uint8_t* dst, const simd::F32 (&v)[kTile]) noexcept {
  if constexpr (kBits == 16) {
    unroll<0, kTile / 2>(
        [&](auto i) { simd::store_rounded(dst + i * (4 * simd::F32::kLanes), v[2 * i], v[2 * i + 1]); });
  } else {
    simd::store_rounded(dst, v[0], v[1], v[2], v[3]);
  }
}

// The same, but only the first `samples` of them.
template <int kBits>
inline void store_samples(std::uint8_t* dst, const simd::F32 (&v)[kTile], Index samples) noexcept {
  if (samples >= kTileSamples) return store_tile<kBits>(dst, v);
  std::uint8_t tile[kTileSamples * kBits / 8];
  store_tile<kBits>(tile, v);
  __builtin_memcpy(dst, tile, static_cast<std::size_t>(samples * (kBits / 8)));
}

// Rounds the sums of one destination row to the samples at `x`.
template <int kBits, int kRow, int kVectors>
[[gnu::always_inline]] inline void store_sums(const ColumnArgs& args, const ColumnSums<kVectors>& sums,
                                              Index x) noexcept {
  simd::F32 v[kTile];
  unroll<0, kTile>(
      [&](auto i) { v[i] = simd::value_of(sums.v[kRow][i < kVectors ? int{i} : kVectors - 1]); });
  store_samples<kBits>(static_cast<std::uint8_t*>(args.dst[kRow]) + x * (kBits / 8), v, args.samples - x);
}

// Destination row kRow alone. Arguments of its own, which no store can change, stay in registers.
template <int kBits, bool kNormal, int kRow>
void column_single(const ColumnArgs& given) noexcept {
  const ColumnArgs args = given;
  const float* const* const rows = args.rows + (kRow == 0 ? 0 : args.lead);
  for_each_tile(
      args.samples, [&](Index x, auto vectors) __attribute__((always_inline)) {
        ColumnSums<vectors> sums;
        clear<kRow>(sums);
        add_rows<kRow, kRow + 1, kNormal>(sums, rows, args.weights[0], args.weights[1], args.count[kRow], x);
        store_sums<kBits, kRow>(args, sums, x);
      });
}

// Two rows: the taps of the first alone, the shared ones, those of the second alone.
template <int kBits, bool kNormal>
void column_pair(const ColumnArgs& given) noexcept {
  const ColumnArgs args = given;
  const Index lead = args.lead;
  const Index shared = args.count[0] - lead;
  for_each_tile(
      args.samples, [&](Index x, auto vectors) __attribute__((always_inline)) {
        ColumnSums<vectors> sums;
        clear<0>(sums);
        add_rows<0, 1, kNormal>(sums, args.rows, args.weights[0], nullptr, lead, x);
        clear<1>(sums);
        add_rows<0, 2, kNormal>(sums, args.rows + lead, args.weights[0] + lead, args.weights[1], shared, x);
        store_sums<kBits, 0>(args, sums, x);
        add_rows<1, 2, kNormal>(sums, args.rows + args.count[0], nullptr, args.weights[1] + shared,
                                args.count[1] - shared, x);
        store_sums<kBits, 1>(args, sums, x);
      });
}

template <int kBits, bool kNormal>
void column_rows(const ColumnArgs& args) noexcept {
  if (args.count[1] == 0) return column_single<kBits, kNormal, 0>(args);
  if constexpr (kSharesRows) {
    column_pair<kBits, kNormal>(args);
  } else {
    column_single<kBits, kNormal, 0>(args);
    column_single<kBits, kNormal, 1>(args);
  }
}

template <int kBits>
void column_sums(const ColumnArgs& args) noexcept {
  // Of no use to a fused multiply-add.
  if constexpr (!simd::kHasFusedMultiplyAdd) {
    if (args.normal) return column_rows<kBits, true>(args);
  }
  column_rows<kBits, false>(args);
}

void add_column_block(const ColumnArgs& args, bool first, float* totals) noexcept {
  for_each_tile(
      args.samples, [&](Index x, auto vectors) __attribute__((always_inline)) {
        ColumnSums<vectors> sums;
        clear<0>(sums);
        add_rows<0, 1, false>(sums, args.rows, args.weights[0], nullptr, args.count[0], x);
        unroll<0, vectors>([&](auto i) {
          float* total = totals + x + i * simd::F32::kLanes;
          const simd::F32 sum = simd::value_of(sums.v[0][i]);
          simd::store(total, first ? sum : simd::load(total) + sum);
        });
      });
}

template <int kBits>
void round_row(const float* totals, Index samples, void* dst) noexcept {
  for_each_tile(
      samples, [&](Index x, auto vectors) __attribute__((always_inline)) {
        simd::F32 v[kTile];
        unroll<0, kTile>([&](auto i) {
          v[i] = simd::load(totals + x + (i < vectors ? int{i} : vectors - 1) * simd::F32::kLanes);
        });
        store_samples<kBits>(static_cast<std::uint8_t*>(dst) + x * (kBits / 8), v, samples - x);
      });
}

}  // namespace
}  // namespace kyv::resize
