#include "resize/filtered/workspace.h"

#include "resize/rounding.h"

namespace kyv::resize {
namespace {

constexpr Index kStripSamples = 4096;  // destination samples of a strip whose ring stays in the L2
constexpr Index kStripStep = 32;       // destination pixels

std::uint64_t unsigned_of(Index n) noexcept { return static_cast<std::uint64_t>(n); }

}  // namespace

Workspace::Workspace(runtime::Arena& arena, const Geometry& geometry, std::int32_t channels) noexcept {
  x = take_tap_table(arena, geometry.x, geometry.mode);
  y = take_tap_table(arena, geometry.y, geometry.mode);
  runtime::Arena permuted = arena;
  runtime::Arena running = arena;
  row_pass.permuted = PermutedRows::take_room(permuted, geometry.x, geometry.mode, channels);
  row_pass.running =
      RunningRows::take_room(running, geometry.x, geometry.mode, row_pass.permuted.plan.pattern_floats);
  row_pass.transposed = TransposedRows::take_room(arena, geometry, channels);
  arena.overlay(permuted);
  arena.overlay(running);
  runtime::Arena folded_arena = arena;
  folded = FoldedRows::take_room(folded_arena, geometry, channels);

  const std::uint64_t taps_y = tap_room(geometry.y, geometry.mode);
  const double gap = std::min(std::max(geometry.y.inverse, 0.0), static_cast<double>(kTapBlock));
  kept_rows = static_cast<Index>(std::min<std::uint64_t>(taps_y, kTapBlock)) +
              static_cast<Index>(integer_of(ceil_of(gap))) + 1;
  most_rows = geometry.y.usable_size;
  longest_strip = std::min<Index>(geometry.x.count, kStripSamples / channels / kStripStep * kStripStep);
  const std::uint64_t pitch = RowRing::pitch_of(unsigned_of(longest_strip * channels), kRingSlack);
  const std::uint64_t floats =
      (unsigned_of(ring_rows(TransposedRows::most_rows_at_once(channels))) + 1) * pitch;
  ring = arena.take<float>(floats);
  ring_floats = static_cast<Index>(floats);
  totals_pitch = static_cast<Index>(pitch);
  totals = arena.take<float>(taps_y > kTapBlock ? kActiveRows * pitch : 0);
  // A buffer that was asked for with other factors may lack it.
  if (folded_arena.fits()) {
    arena.overlay(folded_arena);
  } else {
    folded = {};
  }
}

}  // namespace kyv::resize
