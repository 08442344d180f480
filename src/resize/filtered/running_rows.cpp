#include "resize/filtered/running_rows.h"

#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

// Positions that are added together, after what they begin with was prefetched; of larger pixels fewer.
constexpr Index kChunk = 64;
constexpr Index kLargePixelChunk = 32;
constexpr Index kConversion =
    16;  // positions from which on a conversion starts: whole pieces of a row's bytes
constexpr Index kHeldResults = 32;      // destination pixels that are stored together
constexpr double kLeastInverse = 2.25;  // so that a chunk ends no more sums than that
constexpr Index kMostPixelFloats = kMostBatchRows;
constexpr Index kOpenPixels = 8;  // more than are open at a position: places of their totals
constexpr auto kLine = static_cast<Index>(runtime::kCacheLine);
static_assert(kChunk / kLeastInverse + 1 <= kHeldResults && kMostRunningSums < kOpenPixels);

}  // namespace

// Where a batch has arrived.
struct RunningRows::Progress {
  Index position = 0;    // the next one
  Index pixel = 0;       // whose sum ends next
  Index first_held = 0;  // pixel of the first result that is not stored yet
  alignas(
      64) float sums[kMostRunningSums * kMostPixelFloats] = {};  // [tile of vectors][sum][vector of it][lane]
  float totals[kOpenPixels * kMostPixelFloats] = {};             // [pixel modulo that][as above]
};

std::optional<RunningRows> RunningRows::plan(const RowPassFacts& facts, const TransposedRoom& room,
                                             const PermutedPlanRoom& weights_room) noexcept {
  const bool fits = facts.kernels.running.add[0][0] != nullptr && facts.geometry.x.inverse >= kLeastInverse;
  if (!fits) return std::nullopt;
  const std::optional<RunningPlan> plan =
      plan_running_sums(facts.x.table, facts.geometry.x.count, weights_room);
  if (!plan) return std::nullopt;
  return RunningRows(facts, *plan, room);
}

RunningRows::RunningRows(const RowPassFacts& facts, const RunningPlan& plan,
                         const TransposedRoom& room) noexcept
    : kernels_(&facts.kernels.transposed),
      running_(&facts.kernels.running),
      plan_(plan),
      room_(room),
      format_(facts.format),
      usable_size_(facts.geometry.x.usable_size),
      chunk_(format_.channels == 1 || format_.pixel_bytes() == 4 ? kChunk : kLargePixelChunk),
      content_(format_.channels == 4 ? kPixelVectors : kSampleVectors),
      prefetches_(facts.source_bytes() > facts.tuning.prefetched_source),
      has_blocks_(facts.x.most_taps > kTapBlock) {
  if (format_.channels == 3) groups_ = kernels_->rgb_groups;
  if (format_.channels == 1 && room.has_grey_groups) groups_ = kGreyGroups;
}

Index RunningRows::vectors_at_once(Index vectors) const noexcept {
  Index at_once = std::min<Index>(vectors, kMostRunningVectors);
  while (vectors % at_once != 0 || running_->add[plan_.sums - 1][at_once - 1] == nullptr) --at_once;
  return at_once;
}

Index RunningRows::run(Index first_row, const Strip& strip, const SourceRows& source,
                       const RowRing& ring) const noexcept {
  const bool is_last_grey = format_.channels == 1 && source.end - first_row <= kernels_->lanes;
  const RowBatch batch(first_row, is_last_grey ? 1 : groups_, kernels_->lanes, format_.channels, source,
                       ring);
  const Index end_pixel = strip.first + strip.count;
  const Index last = plan_.ends[end_pixel - 1];

  const bool is_grey = format_.channels == 1;
  const auto byte_of = [&](Index position) noexcept {
    return std::clamp<Index>(position, 0, usable_size_) * format_.pixel_bytes();
  };
  const Index begin_byte = byte_of(plan_.table.spans[strip.first].first);
  const Index row_bytes = std::max<Index>(byte_of(last) - begin_byte, 1);
  const NextBatch next(batch, source, begin_byte, byte_of(last));

  Progress progress;
  progress.position = plan_.begin_of(strip.first);
  progress.pixel = progress.first_held = plan_.first_open(strip.first, progress.position);
  while (progress.position < last) {
    const Index position = progress.position;
    const bool is_inside = position >= 0 && position < usable_size_;
    Index end = is_inside ? std::min((position / chunk_ + 1) * chunk_, usable_size_) : position + chunk_;
    if (position < 0) end = std::min<Index>(end, 0);
    end = std::min(end, last);
    const bool is_direct = is_inside && format_.channels == 4 &&
                           rounded_up(end, kRunningBytes / format_.pixel_bytes()) <= usable_size_;
    const std::optional<Index> converted =
        is_direct ? std::nullopt : std::optional(convert(batch, position, end));
    if (prefetches_ && is_inside && !is_grey) prefetch_chunk(batch, end, last);
    if (prefetches_ && is_inside && is_grey) {
      next.prefetch(byte_of(position) - begin_byte, byte_of(end) - begin_byte, row_bytes);
    }

    const Index ended =
        std::upper_bound(plan_.ends + progress.pixel, plan_.ends + end_pixel, end) - plan_.ends;
    if (ended - progress.first_held > kHeldResults) store(batch, strip, progress);
    while (progress.position < end) {
      add(batch, converted, has_blocks_ ? next_block(end, progress) : end, progress);
      if (has_blocks_) end_blocks(batch, progress);
    }
  }
  store(batch, strip, progress);
  return batch.rows;
}

// Converts the positions [position, end), which lie all before, in or behind the row; the one that the
// converted samples begin with.
Index RunningRows::convert(const RowBatch& batch, Index position, Index end) const noexcept {
  const auto load = [&](Index first, Index count) noexcept {
    for (Index row = 0; row < batch.sample; row += kernels_->lanes) {
      kernels_->load[format_.depth][content_](batch.sources + row, first * format_.pixel_bytes(),
                                              count * format_.channels, room_.samples + row, batch.sample);
    }
  };
  if (position >= 0 && position < usable_size_) {
    const Index first = position / kConversion * kConversion;
    load(first, std::min(rounded_up(end, kConversion), usable_size_) - first);
    return first;
  }
  load(position < 0 ? 0 : usable_size_ - 1, 1);
  for (Index i = 1; i < end - position; ++i) {
    std::copy_n(room_.samples, batch.pixel, room_.samples + i * batch.pixel);
  }
  return position;
}

// What the next chunk begins with. Inlined because compilers drop calls of functions that only prefetch.
[[gnu::always_inline]] inline void RunningRows::prefetch_chunk(const RowBatch& batch, Index position,
                                                               Index last) const noexcept {
  const Index begin = position * format_.pixel_bytes();
  const Index end = std::min({position + chunk_, last, usable_size_}) * format_.pixel_bytes();
  for (Index row = 0; row < batch.rows; ++row) {
    for (Index at = begin; at < end; at += kLine) prefetch<true>(batch.sources[row] + at);
  }
}

// Adds the positions up to `end`, of samples that begin with position `converted`, or of the rows' pixels.
void RunningRows::add(const RowBatch& batch, std::optional<Index> converted, Index end,
                      Progress& progress) const noexcept {
  const Index lanes = kernels_->lanes;
  const Index vectors = batch.pixel / lanes;
  const Index at_once = vectors_at_once(vectors);
  const auto pass = converted ? running_->add[plan_.sums - 1][at_once - 1]
                              : running_->add_pixels[format_.depth][plan_.sums - 1];
  const float* const samples =
      converted ? room_.samples + (progress.position - *converted) * batch.pixel : nullptr;
  float* const out = room_.results + (progress.pixel - progress.first_held) * batch.pixel;
  for (Index vector = 0; vector < vectors; vector += at_once) {
    pass({.samples = samples + (converted ? vector * lanes : 0),
          .rows = batch.sources + vector,
          .weights = plan_.weights_at(progress.position),
          .step = batch.pixel,
          .begin = progress.position,
          .end = end,
          .ends = plan_.ends + progress.pixel,
          .sums = progress.sums + vector * lanes * plan_.sums,
          .out = out + vector * lanes});
  }
  const Index first = progress.pixel;
  while (plan_.ends[progress.pixel] <= end) ++progress.pixel;
  progress.position = end;
  if (!has_blocks_) return;
  for (Index pixel = first; pixel < progress.pixel; ++pixel) {
    if (plan_.ends[pixel] - plan_.table.spans[pixel].first <= kTapBlock) continue;
    const float* const total = progress.totals + pixel % kOpenPixels * kMostPixelFloats;
    float* const result = out + (pixel - first) * batch.pixel;
    for (Index i = 0; i < batch.pixel; ++i) result[i] = total[i] + result[i];
  }
}

// The next position where a block of taps of an open sum ends, but for the sum's own end; no more than `end`.
Index RunningRows::next_block(Index end, const Progress& progress) const noexcept {
  for (Index pixel = progress.pixel; pixel < std::min(progress.pixel + plan_.sums, plan_.count); ++pixel) {
    const Index done = progress.position - plan_.table.spans[pixel].first;
    if (done < 0) break;
    const Index block = progress.position + kTapBlock - done % kTapBlock;
    if (block < plan_.ends[pixel]) end = std::min(end, block);
  }
  return end;
}

// Adds to their totals the open sums that have a whole block of taps, and begins the next.
void RunningRows::end_blocks(const RowBatch& batch, Progress& progress) const noexcept {
  const Index lanes = kernels_->lanes;
  const Index vectors = batch.pixel / lanes;
  const Index tile = vectors_at_once(vectors) * lanes;
  for (Index i = 0; i < plan_.sums && progress.pixel + i < plan_.count; ++i) {
    const Index pixel = progress.pixel + i;
    const Index done = progress.position - plan_.table.spans[pixel].first;
    if (done <= 0) break;
    if (done % kTapBlock != 0) continue;
    float* total = progress.totals + pixel % kOpenPixels * kMostPixelFloats;
    for (Index first = 0; first < batch.pixel; first += tile) {
      float* const sum = progress.sums + first * plan_.sums + i * tile;
      for (Index k = 0; k < tile; ++k) {
        *total = done == kTapBlock ? sum[k] : *total + sum[k];
        ++total;
        sum[k] = 0.0f;
      }
    }
  }
}

// Stores the results that are held. Those of pixels before the strip give way to the others first: `store`
// reads whole vectors, and the room ends with as many as are held.
void RunningRows::store(const RowBatch& batch, const Strip& strip, Progress& progress) const noexcept {
  const Index first = std::max(progress.first_held, strip.first);
  const Index samples = (progress.pixel - first) * format_.channels;
  if (samples > 0) {
    float* const results = room_.results;
    const Index unwanted = (first - progress.first_held) * batch.pixel;
    if (unwanted > 0) std::copy_n(results + unwanted, samples * batch.sample, results);
    const Index read = rounded_up(samples, kernels_->lanes);
    std::fill(results + samples * batch.sample, results + read * batch.sample, 0.0f);
    for (Index row = 0; row < batch.sample; row += kernels_->lanes) {
      kernels_->store[content_](results + row, batch.sample, samples, batch.targets + row,
                                (first - strip.first) * format_.channels);
    }
  }
  progress.first_held = progress.pixel;
}

}  // namespace kyv::resize
