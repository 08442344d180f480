#include "resize/filtered/resampler.h"

#include "resize/filtered/block_means.h"
#include "resize/filtered/column_rows.h"
#include "resize/filtered/doubling.h"
#include "resize/filtered/tents.h"

namespace kyv::resize {
namespace {

// Floats of a ring's rows for strips of so many pixels.
std::uint64_t ring_pitch(Index pixels, std::int32_t channels) noexcept {
  return RowRing::pitch_of(static_cast<std::uint64_t>(pixels) * static_cast<std::uint64_t>(channels),
                           kRingSlack);
}

// Destination pixels of a strip, at most `most`: all of them, or as few strips as the ring's memory has room
// for, because memory likes long runs, and these alike.
Index strip_width(Index ring_floats, Index ring_rows, Index multiple, Index count, Index most,
                  std::int32_t channels) noexcept {
  const Index floats = ring_floats / (ring_rows + 1);
  if (most >= count && ring_pitch(count, channels) <= static_cast<std::uint64_t>(floats)) return count;
  const Index fitting = std::max<Index>(std::min((floats - 2 * kRingSlack) / channels, most) / multiple, 1);
  const Index blocks = (count + multiple - 1) / multiple;
  const Index strips = (blocks + fitting - 1) / fitting;
  return std::min((blocks + strips - 1) / strips * multiple, count);
}

// False where no sums are whole numbers of few bits.
bool write_in_integers(const ResizeJob& job, const Kernels& kernels) noexcept {
  return write_block_means(job, kernels) || write_doubled(job, kernels) || write_tents(job, kernels);
}

}  // namespace

void resize_filtered(const ResizeJob& job, const Workspace& work, const Kernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  RowPassProbe unused;
  RowPassProbe& probe = job.probe == nullptr ? unused : *job.probe;
  probe.is_in_integers = !probe.wanted && !probe.folding && write_in_integers(job, kernels);
  if (probe.is_in_integers) return;
  const BuiltTable x = build_tap_table(work.x, geometry.x, geometry.mode, kernels);
  const BuiltTable y =
      geometry.y == geometry.x ? x : build_tap_table(work.y, geometry.y, geometry.mode, kernels);
  const RowPassFacts facts{job.format, geometry, x, kernels, job.tuning};
  const bool folds = probe.folding.value_or(!probe.wanted && folding_is_fastest(facts));
  Index done = 0;  // destination rows
  if (folds && FoldedRows::fits(facts, y, work.folded)) {
    done = FoldedRows(job, facts, y, work.folded, work.row_pass, probe).write();
    probe.has_folded = done == geometry.y.count;
    if (probe.has_folded) return;
  }
  PlannedRowPass planned = choose_row_pass(facts, work.row_pass, probe.wanted);
  probe.chosen = planned.choice;

  const auto [at_once, multiple] = with_row_pass(
      planned.pass, [](const auto& pass) { return std::pair(pass.rows_at_once(), pass.strip_multiple()); });
  const Index ring_rows = work.ring_rows(at_once);
  const Index count = geometry.x.count;
  const Index most = y.table.stride > kTapBlock ? work.longest_strip : count;
  const Index width = strip_width(std::min(work.ring_floats, job.tuning.ring_floats), ring_rows, multiple,
                                  count, most, job.format.channels);
  const Index samples = width * job.format.channels;
  const RowRing ring(work.ring, ring_rows, static_cast<Index>(ring_pitch(width, job.format.channels)));
  ring.clear_slack(samples, rounded_up(samples, kColumnGroup) - samples);

  ColumnRows columns(job, y, x.last_place, work, kernels);
  const Index last_source = geometry.y.usable_size - 1;
  const Index first_row = std::clamp<Index>(y.table.spans[done].first, 0, last_source);
  const SourceRows source{
      .first = job.first_source(),
      .step = job.src_step,
      .usable_size = geometry.y.usable_size,
      .end = std::clamp<Index>(y.table.spans[geometry.y.count - 1].end() - 1, 0, last_source) + 1};
  for (Index first = 0; first < count; first += width) {
    const Strip strip{first, std::min(width, count - first)};
    columns.begin(strip, done);
    for (Index row = first_row; row < source.end;) {
      row += with_row_pass(planned.pass, [&](auto& pass) { return pass.run(row, strip, source, ring); });
      columns.write_above(row, ring);
    }
  }
  columns.finish();
}

}  // namespace kyv::resize
