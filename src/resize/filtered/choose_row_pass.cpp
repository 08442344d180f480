#include "resize/filtered/choose_row_pass.h"

#include <cmath>

#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

using runtime::kFewRegisters;

// Most source positions of a group whose sums are short, by pixels of a lane. With eight registers colours of
// more are only as fast if they are sums of few taps beside the distance of the pixels.
constexpr Index kShortPositions[kMostLanePixels] = {8, 12};
constexpr Index kShortColourPositions = 4;

// Fewest taps for which two pixels of a lane make up for a permutation of two registers: it takes half as
// long again, and shorter sums are up to 11 % faster with one pixel and one register.
constexpr Index kWidePairTaps = 9;

// Most taps of RGBA that are always faster shuffled: 1.05 to 1.5 times.
constexpr Index kShortShuffledTaps = 5;

// Fewest source rows for which a plan of whole windows is made: it takes as long as 100 to 300 rows gain by
// it, or far fewer where each sample is used about once: super-sampling at 2 : 1 and more is up to 1.6 times
// as fast by it.
constexpr Index kPlannedRows = 256;
constexpr Index kPlannedSparseRows = 96;
constexpr std::uint64_t kPlannedSparseSamples = 24 << 10;
constexpr double kSparseInverse = 2.0;

// With eight registers sources within the caches gain less.
constexpr Index kFewRegistersPlannedRows = 400;

// Most source positions of a group of grey, beyond the caches, where permutations of two registers are dear.
constexpr Index kGreyWidePositions = 24;

// Most taps of 16 bits that are faster from windows of their own: with 40 running sums are 1.5 times as fast.
constexpr Index kMost16BitLaneTaps = 32;

// Positions that a window of two registers serves, at least, where linear sums reload few of them.
constexpr Index kFewReloads = 4;

// Where running sums are faster than transposed ones: by the distance of the pixels with many registers, and
// with 16; RGBA, which is not stored between conversion and sum, and long sums (Lanczos; of RGB cubic, too)
// earlier.
constexpr double kRunningInverse[2] = {4.5, 5.5};
constexpr double kRgbaRunningInverse[2] = {2.25, kFewRegisters ? 4.5 : 3.9};
constexpr double kLargeGreyRunningInverse = 2.9;  // with 16, beyond the caches; but for 8-bit super-sampling
constexpr double kLargeWideRunningInverse = 3.9;  // the same of grey and RGBA with eight of 16 lanes
constexpr double kLongRunningInverse = 2.9;
constexpr Index kLongRunningTaps = 17;
constexpr Index kLongRgbTaps = 9;

// Fewest samples of the source, by channels, that make up for listing the weights of running sums: smaller
// pictures are up to 1.5 times as fast transposed.
constexpr std::uint64_t kRunningSource[5] = {0, 192 << 10, 0, 256 << 10, 64 << 10};

// From which distance of the rows on folding them is faster. Where rows are cut, parts of them are
// multiplied, and more sums are done twice: with whole rows earlier, and with eight registers earlier still.
constexpr double kOnlyFoldingInverse = 2.0;  // where there is nothing but the transposed pass
constexpr double kFoldingInverse = 4.5;
constexpr double kWholeFoldingInverse = kFewRegisters ? 2.0 : 4.0;
// With many registers: grey, and colours beyond the caches, where memory is what counts.
constexpr double kGreyFoldingInverse = 7.5;
constexpr double kLargeFoldingInverse = 11.0;

// Fewest samples of the source for which that holds, but for the transposed pass alone.
constexpr std::uint64_t kFoldedSource = 32 << 10;

// A reason is a text, or null where the pass is not the fastest one.
using Reason = const char*;

// The shuffled pass spares the window of converted samples and the transpositions, but converts a sample for
// each tap. The farther the pixels are apart, the less often that is. RGB leaves a quarter of the lanes idle.
// Six to eight taps of Lanczos at 5 : 4 and 1 : 2 would be 1 to 20 % slower.
Reason shuffled_is_fastest(const RowPassFacts& facts) noexcept {
  const Index taps = facts.x.most_taps;
  const double inverse = facts.geometry.x.inverse;
  const bool is_rgba = facts.format.channels == 4;
  if (is_rgba && taps <= kShortShuffledTaps) return "few taps of RGBA";
  const double few = is_rgba ? 2.0 * inverse + 1.0 : 2.0 * inverse;
  return static_cast<double>(taps) <= few ? "few taps beside the distance of the pixels" : nullptr;
}

// What is known before a plan is measured, which costs small pictures 3 to 5 %. A set that permutes within 16
// bytes reloads its windows often: it pays beyond the caches only, and never for RGB, which fills them badly.
bool permuted_may_be_fastest(const RowPassFacts& facts) noexcept {
  if (!facts.kernels.permuted.quarters) {
    const double inverse = facts.geometry.x.inverse;
    const bool is_sparse = inverse >= kSparseInverse &&
                           static_cast<double>(facts.x.most_taps) < 1.5 * inverse + 1.0 &&
                           facts.source_samples() >= kPlannedSparseSamples;
    return facts.geometry.y.usable_size >= (is_sparse ? kPlannedSparseRows : kPlannedRows);
  }
  return facts.format.channels != 3 && facts.source_bytes() > facts.tuning.large_source;
}

// Whether sums are short beside the distance of the pixels, so that few windows are loaded.
bool is_sparse(const RowPassFacts& facts, const PermutedShape& shape, Index pixels) noexcept {
  const Index extent = facts.last_span().first - facts.first_span().first;
  const std::int64_t taps = shape.taps[0] - 1;
  return taps * (facts.geometry.x.count - 1) < std::int64_t{pixels} * extent;
}

// Running sums read a converted sample once, transposed ones once for each two sums, from a window that
// outgrows the L1 with the taps. But the weights are read for each position, and registers moved for each
// result.
Reason running_is_fastest(const RowPassFacts& facts) noexcept {
  const bool has_16_lanes = facts.kernels.transposed.lanes == 16;
  const bool has_many_registers = !kFewRegisters && has_16_lanes;
  const double inverse = facts.geometry.x.inverse;
  if (facts.source_samples() < kRunningSource[facts.format.channels]) return nullptr;
  // Two groups of RGB are six vectors, which sixteen registers hold in parts only.
  if (!has_many_registers && facts.format.channels == 3) return nullptr;
  const Index taps = facts.x.most_taps;
  const bool is_long = facts.format.channels == 3
                           ? taps >= kLongRgbTaps
                           : taps >= kLongRunningTaps && inverse >= kLongRunningInverse;
  if (has_many_registers && is_long) return "long sums";
  const bool is_8_bit_super = facts.format.depth == kDepth8 && facts.geometry.mode == Mode::kSuper;
  const bool is_large = !is_8_bit_super && facts.source_bytes() > facts.tuning.huge_source;
  const bool is_grey = facts.format.channels == 1;
  if (!kFewRegisters && !has_many_registers && is_large && is_grey && inverse >= kLargeGreyRunningInverse) {
    return "grey beyond the caches";
  }
  if (kFewRegisters && has_16_lanes && is_large && inverse >= kLargeWideRunningInverse) {
    return "source beyond the caches";
  }
  const auto& least = facts.format.channels == 4 ? kRgbaRunningInverse : kRunningInverse;
  return inverse >= least[has_many_registers ? 0 : 1] ? "pixels far apart" : nullptr;
}

// Windows of their own spare grey the transposition of four times as many rows: super-sampling, from the L2
// on with 8 bits, of which a window has twice as many samples; with 16 bits beyond the caches, of few taps.
// Elsewhere running sums are faster.
bool lane_windows_pay(const RowPassFacts& facts) noexcept {
  const bool is_8_bit = facts.format.depth == kDepth8;
  return facts.geometry.mode == Mode::kSuper && (is_8_bit || facts.x.most_taps <= kMost16BitLaneTaps) &&
         facts.source_bytes() > (is_8_bit ? facts.tuning.large_source : facts.tuning.huge_source);
}

// With eight registers, over whole vectors. Long sums are up to 1.6 times as slow as transposed, but for
// 8-bit grey beyond the caches.
Reason permuted_pays_in_few_registers(const RowPassFacts& facts, const PermutedShape& shape, bool is_short,
                                      bool is_large) noexcept {
  const bool is_grey = facts.format.channels == 1;
  if (is_short) {
    const bool is_few = is_grey || shape.positions <= kShortColourPositions || is_sparse(facts, shape, 2);
    const bool has_rows = is_large || facts.geometry.y.usable_size >= kFewRegistersPlannedRows;
    return is_few && has_rows ? "short sums" : nullptr;
  }
  const bool is_light = is_grey && facts.format.depth == kDepth8 && shape.positions <= kGreyWidePositions;
  return is_light && is_large && running_is_fastest(facts) == nullptr ? "grey beyond the caches" : nullptr;
}

// A multiply-add of this pass costs more than one of the transposed pass, unless two pixels share the
// permuted samples of a small window; but a batch of rows touches a page of memory per row, and this pass
// reads one row after the other. So short sums nearly always pay, and others beyond the caches.
Reason permuted_is_fastest(const RowPassFacts& facts, const PermutedShape& shape) noexcept {
  const bool is_pair = shape.pixels == 2;
  if (is_pair && shape.window == kWideWindow && shape.taps[0] < kWidePairTaps) return nullptr;
  const bool is_short = shape.positions <= kShortPositions[shape.pixels - 1];
  const bool is_large =
      facts.source_bytes() > (is_short ? facts.tuning.large_source : facts.tuning.huge_source);
  const std::int32_t channels = facts.format.channels;
  if (kFewRegisters && !facts.kernels.permuted.quarters)
    return permuted_pays_in_few_registers(facts, shape, is_short, is_large);
  // Long sums and small sources are 1.2 to 1.6 times as slow as transposed; so are, by 1.1 to 1.2 times,
  // short sums of several channels.
  if (kFewRegisters && (!is_short || !is_large || channels != 1)) return nullptr;
  if (!facts.kernels.permuted.quarters) {
    if (is_pair && shape.window == kNarrowWindow) return "two pixels share a window of one register";
    if (is_short) return "short sums";
    if (shape.window == kLaneWindows) return lane_windows_pay(facts) ? "grey far apart" : nullptr;
    // What a permutation of two registers costs does not matter to super-sampling, which picks each sample
    // about once, nor to grey, of which other passes take four times as many rows at a time, each from a page
    // of its own. Elsewhere running sums are faster, but for linear sums that reload few windows.
    const bool is_light =
        is_sparse(facts, shape, 1) || (channels == 1 && shape.positions <= kGreyWidePositions);
    const bool is_linear = is_sparse(facts, shape, 2) && shape.window_positions >= kFewReloads;
    const bool is_fastest = is_linear || running_is_fastest(facts) == nullptr;
    const bool pays = is_light || (facts.tuning.has_cheap_wide_permutations && is_fastest);
    return is_large && pays ? "source beyond the caches" : nullptr;
  }
  // Grey must make do with few windows of 16 bytes, RGBA needs sums that are short beside the distance of the
  // pixels: 1.1 to 1.8 times as fast.
  if (!is_large || (channels == 1 && running_is_fastest(facts) != nullptr)) return nullptr;
  const bool is_light = channels == 1 ? (shape.positions - 1) / shape.window_positions <= shape.pixels
                                      : is_sparse(facts, shape, shape.pixels);
  return is_light ? "source beyond the caches, few windows" : nullptr;
}

}  // namespace

bool folding_is_fastest(const RowPassFacts& facts) noexcept {
  const double inverse = facts.geometry.y.inverse;
  if (facts.kernels.running.pack == nullptr) return inverse >= kOnlyFoldingInverse;
  if (facts.source_samples() < kFoldedSource) return false;
  if (kFewRegisters || facts.kernels.transposed.lanes < 16) {
    const bool has_whole_rows = inverse == std::floor(inverse);
    return inverse >= (has_whole_rows ? kWholeFoldingInverse : kFoldingInverse);
  }
  if (facts.format.channels == 1) return inverse >= kGreyFoldingInverse;
  const bool is_large = facts.source_bytes() > facts.tuning.huge_source;
  return inverse >= (is_large ? kLargeFoldingInverse : kFoldingInverse);
}

PlannedRowPass choose_row_pass(const RowPassFacts& facts, const RowPassRoom& room,
                               std::optional<RowPassKind> wanted) noexcept {
  constexpr Reason kWanted = "wanted";
  const auto may_be = [&](RowPassKind kind) noexcept { return !wanted || *wanted == kind; };
  if (may_be(RowPassKind::kShuffled)) {
    const Reason reason = wanted ? kWanted : shuffled_is_fastest(facts);
    if (reason != nullptr) {
      if (const auto pass = ShuffledRows::plan(facts)) return {*pass, {RowPassKind::kShuffled, reason}};
    }
  }
  if (may_be(RowPassKind::kPermuted) && (wanted || permuted_may_be_fastest(facts))) {
    for (Index pixels = kMostLanePixels; pixels > 0; --pixels) {
      PermutedPlanner planner(facts, room.permuted.plan, pixels);
      const auto shape = planner.measure();
      if (!shape) continue;
      const Reason reason = wanted ? kWanted : permuted_is_fastest(facts, *shape);
      if (reason == nullptr) continue;
      const auto plan = planner.fill(*shape);
      if (plan) return {PermutedRows(facts, room.permuted, *plan), {RowPassKind::kPermuted, reason}};
    }
  }
  if (may_be(RowPassKind::kRunning)) {
    const Reason reason = wanted ? kWanted : running_is_fastest(facts);
    if (reason != nullptr) {
      if (const auto pass = RunningRows::plan(facts, room.running)) {
        return {*pass, {RowPassKind::kRunning, reason}};
      }
    }
  }
  const bool is_wanted = wanted == RowPassKind::kTransposed;
  return {TransposedRows(facts, room.transposed),
          {RowPassKind::kTransposed, is_wanted ? kWanted : "the others do not fit, or are slower"}};
}

}  // namespace kyv::resize
