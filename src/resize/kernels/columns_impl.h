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

// Calls body(vectors) with those that the last `samples` samples of a row need.
template <class Body>
[[gnu::always_inline]] inline void with_vectors(Index samples, const Body& body) noexcept {
  const auto groups = static_cast<std::int32_t>((samples + kColumnGroup - 1) / kColumnGroup);
  with_count<kTile / kGroupVectors>(kGroupVectors == kTile ? 1 : groups,
                                    [&](auto count) { body(Constant<count * kGroupVectors>()); });
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
template <int kFirst, int kEnd, ColumnSumKind kKind, int kVectors>
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
      if constexpr (kKind == ColumnSumKind::kNormal) {
        unroll<0, kVectors / 2>(
            [&](auto i) { simd::accumulate_two(weight, samples + 2 * i, sums.v[r] + 2 * i); });
      } else {
        unroll<0, kVectors>([&](auto i) {
          sums.v[r][i] = kKind == ColumnSumKind::kExact
                             ? simd::accumulate<true>(weight, samples[i], sums.v[r][i])
                             : simd::accumulate_any(weight, samples[i], sums.v[r][i]);
        });
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

// The same of a row of fewer: its `samples` from kVectors vectors.
template <int kBits, int kVectors>
inline void store_samples(std::uint8_t* dst, const simd::F32 (&v)[kVectors], Index samples) noexcept {
  if constexpr (kVectors == kTile) {
    if (samples >= kTileSamples) return store_tile<kBits>(dst, v);
  }
  simd::F32 whole[kTile];
  unroll<0, kTile>([&](auto i) { whole[i] = v[i < kVectors ? int{i} : 0]; });
  std::uint8_t tile[kTileSamples * kBits / 8];
  store_tile<kBits>(tile, whole);
  __builtin_memcpy(dst, tile, static_cast<std::size_t>(samples * (kBits / 8)));
}

// Rounds the sums of one destination row to `samples` samples at `x`.
template <int kBits, int kRow, int kVectors>
[[gnu::always_inline]] inline void store_sums(const ColumnArgs& args, const ColumnSums<kVectors>& sums,
                                              Index x, Index samples) noexcept {
  simd::F32 v[kVectors];
  unroll<0, kVectors>([&](auto i) { v[i] = simd::value_of(sums.v[kRow][i]); });
  store_samples<kBits>(static_cast<std::uint8_t*>(args.dst[kRow]) + x * (kBits / 8), v, samples);
}

// `samples` samples of destination row kRow alone, a tile or fewer.
template <int kBits, ColumnSumKind kKind, int kRow, int kVectors>
[[gnu::always_inline]] inline void single_tile(const ColumnArgs& args, Index x, Index samples) noexcept {
  ColumnSums<kVectors> sums;
  clear<kRow>(sums);
  const float* const* const rows = args.rows + (kRow == 0 ? 0 : args.lead);
  add_rows<kRow, kRow + 1, kKind>(sums, rows, args.weights[0], args.weights[1], args.count[kRow], x);
  store_sums<kBits, kRow>(args, sums, x, samples);
}

// Of two rows: the taps of the first alone, the shared ones, those of the second alone.
template <int kBits, ColumnSumKind kKind, int kVectors>
[[gnu::always_inline]] inline void pair_tile(const ColumnArgs& args, Index x, Index samples) noexcept {
  const Index lead = args.lead;
  const Index shared = args.count[0] - lead;
  ColumnSums<kVectors> sums;
  clear<0>(sums);
  add_rows<0, 1, kKind>(sums, args.rows, args.weights[0], nullptr, lead, x);
  clear<1>(sums);
  add_rows<0, 2, kKind>(sums, args.rows + lead, args.weights[0] + lead, args.weights[1], shared, x);
  store_sums<kBits, 0>(args, sums, x, samples);
  add_rows<1, 2, kKind>(sums, args.rows + args.count[0], nullptr, args.weights[1] + shared,
                        args.count[1] - shared, x);
  store_sums<kBits, 1>(args, sums, x, samples);
}

// tile(x) for the tiles of a row of at least one: the last begins early enough to be whole, and finds some
// samples computed before.
template <class Tile>
[[gnu::always_inline]] inline void for_whole_tiles(Index samples, const Tile& tile) noexcept {
  const Index last = samples - kTileSamples;
  for (Index x = 0;; x = x + kTileSamples < last ? x + kTileSamples : last) {
    tile(x);
    if (x == last) return;
  }
}

// Rows shorter than a tile. Not inlined: the loops over whole tiles need the registers.
template <int kBits, ColumnSumKind kKind, int kRow>
[[gnu::noinline]] void short_single(const ColumnArgs& args) noexcept {
  with_vectors(args.samples,
               [&](auto vectors) { single_tile<kBits, kKind, kRow, vectors>(args, 0, args.samples); });
}
template <int kBits, ColumnSumKind kKind>
[[gnu::noinline]] void short_pair(const ColumnArgs& args) noexcept {
  with_vectors(args.samples, [&](auto vectors) { pair_tile<kBits, kKind, vectors>(args, 0, args.samples); });
}

// Arguments of its own, which no store can change, stay in registers.
template <int kBits, ColumnSumKind kKind, int kRow>
void column_single(const ColumnArgs& given) noexcept {
  if (given.samples < kTileSamples) return short_single<kBits, kKind, kRow>(given);
  const ColumnArgs args = given;
  for_whole_tiles(
      args.samples, [&](Index x) __attribute__((always_inline)) {
        single_tile<kBits, kKind, kRow, kTile>(args, x, kTileSamples);
      });
}

template <int kBits, ColumnSumKind kKind>
void column_pair(const ColumnArgs& given) noexcept {
  if (given.samples < kTileSamples) return short_pair<kBits, kKind>(given);
  const ColumnArgs args = given;
  for_whole_tiles(
      args.samples, [&](Index x) __attribute__((always_inline)) {
        pair_tile<kBits, kKind, kTile>(args, x, kTileSamples);
      });
}

template <int kBits, ColumnSumKind kKind>
void column_rows(const ColumnArgs& args) noexcept {
  if (args.count[1] == 0) return column_single<kBits, kKind, 0>(args);
  if constexpr (kSharesRows) {
    column_pair<kBits, kKind>(args);
  } else {
    column_single<kBits, kKind, 0>(args);
    column_single<kBits, kKind, 1>(args);
  }
}

template <int kBits>
void column_sums(const ColumnArgs& args) noexcept {
  // Of no use to a fused multiply-add.
  if constexpr (!simd::kHasFusedMultiplyAdd) {
    if (args.kind == ColumnSumKind::kExact) return column_rows<kBits, ColumnSumKind::kExact>(args);
    if (args.kind == ColumnSumKind::kNormal) return column_rows<kBits, ColumnSumKind::kNormal>(args);
  }
  column_rows<kBits, ColumnSumKind::kAny>(args);
}

template <int kVectors>
[[gnu::always_inline]] inline void add_block_tile(const ColumnArgs& args, bool first, float* totals,
                                                  Index x) noexcept {
  ColumnSums<kVectors> sums;
  clear<0>(sums);
  add_rows<0, 1, ColumnSumKind::kAny>(sums, args.rows, args.weights[0], nullptr, args.count[0], x);
  unroll<0, kVectors>([&](auto i) {
    float* total = totals + x + i * simd::F32::kLanes;
    const simd::F32 sum = simd::value_of(sums.v[0][i]);
    simd::store(total, first ? sum : simd::load(total) + sum);
  });
}

void add_column_block(const ColumnArgs& args, bool first, float* totals) noexcept {
  Index x = 0;
  for (; args.samples - x >= kTileSamples; x += kTileSamples) add_block_tile<kTile>(args, first, totals, x);
  if (x == args.samples) return;
  with_vectors(args.samples - x, [&](auto vectors) { add_block_tile<vectors>(args, first, totals, x); });
}

template <int kBits>
void round_row(const float* totals, Index samples, void* dst) noexcept {
  const auto round = [&](Index x, auto vectors) {
    simd::F32 v[vectors];
    unroll<0, vectors>([&](auto i) { v[i] = simd::load(totals + x + i * simd::F32::kLanes); });
    store_samples<kBits>(static_cast<std::uint8_t*>(dst) + x * (kBits / 8), v, samples - x);
  };
  Index x = 0;
  for (; samples - x >= kTileSamples; x += kTileSamples) round(x, Constant<kTile>());
  if (x < samples) with_vectors(samples - x, [&](auto vectors) { round(x, vectors); });
}

}  // namespace
}  // namespace kyv::resize
