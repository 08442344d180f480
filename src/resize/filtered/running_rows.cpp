#include "resize/filtered/running_rows.h"

#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

// Positions that are added together, of larger pixels fewer.
constexpr Index kChunk = 64;
constexpr Index kLargePixelChunk = 32;
constexpr Index kHeldResults = 32;      // destination pixels that are stored together
constexpr double kLeastInverse = 2.25;  // so that a chunk ends no more sums than that
constexpr Index kMostPixelFloats = kMostBatchRows;
constexpr Index kOpenPixels = 8;  // more than are open at a position: places of their totals

// How far the rows are prefetched: of four groups of them less, as they share the L1.
constexpr Index kAhead = 256;
constexpr Index kGreyAhead = 192;

// Room for the samples of a chunk, as floats.
constexpr Index kChunkFloats = kChunk * kMostPixelFloats;
static_assert(kChunk * kMostBatchRows * sample_bytes(kDepth16) + kPackedSlack <=
              kChunkFloats * Index{sizeof(float)});
static_assert(kChunk / kLeastInverse + 1 <= kHeldResults && kMostRunningSums < kOpenPixels);

}  // namespace

// Positions that are added together: all before, in or behind the rows.
struct RunningRows::Chunk {
  Index begin = 0;
  Index end = 0;
  RunningSource source = kStoredFloats;
};

// Where a batch has arrived.
struct RunningRows::Progress {
  Index position = 0;    // the next one
  Index pixel = 0;       // whose sum ends next
  Index first_held = 0;  // pixel of the first result that is not stored yet
  alignas(
      64) float sums[kMostRunningSums * kMostPixelFloats] = {};  // [tile of vectors][sum][vector of it][lane]
  float totals[kOpenPixels * kMostPixelFloats] = {};             // [pixel modulo that][as above]
};

RunningRoom RunningRows::take_room(runtime::Arena& arena, const AxisGeometry& axis, Mode mode,
                                   Index least_weights) noexcept {
  RunningRoom room;
  if (axis.inverse < kLeastInverse) return room;
  room.plan = take_running_plan(arena, axis, mode, least_weights);
  room.samples = arena.take<float>(kChunkFloats);
  room.results = arena.take<float>(kHeldResults * kMostPixelFloats);
  return room;
}

std::optional<RunningRows> RunningRows::plan(const RowPassFacts& facts, const RunningRoom& room) noexcept {
  const bool fits = facts.kernels.running.add[0][0] != nullptr && facts.geometry.x.inverse >= kLeastInverse;
  if (!fits) return std::nullopt;
  const std::optional<RunningPlan> plan = plan_running_sums(facts.x.table, facts.geometry.x.count, room.plan);
  if (!plan) return std::nullopt;
  return RunningRows(facts, *plan, room);
}

RunningRows::RunningRows(const RowPassFacts& facts, const RunningPlan& plan, const RunningRoom& room) noexcept
    : kernels_(&facts.kernels.transposed),
      running_(&facts.kernels.running),
      plan_(plan),
      room_(room),
      format_(facts.format),
      usable_size_(facts.geometry.x.usable_size),
      chunk_(format_.channels == 1 || format_.pixel_bytes() == 4 ? kChunk : kLargePixelChunk),
      ahead_(format_.channels == 1 ? kGreyAhead : kAhead),
      content_(format_.channels == 4 ? kPixelVectors : kSampleVectors),
      source_(format_.channels == 4   ? kRgbaRows
              : format_.channels == 3 ? kPackedRgb
                                      : kPackedGrey),
      has_blocks_(facts.x.most_taps > kTapBlock) {
  if (facts.source_bytes() <= facts.tuning.prefetched_source) ahead_ = 0;
  if (format_.channels == 3) groups_ = kernels_->rgb_groups;
  if (format_.channels == 1) groups_ = kGreyGroups;
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
    const Chunk chunk = chunk_at(progress.position, last, batch);
    const Index end = chunk.end;
    if (chunk.source == kStoredFloats) convert(batch, chunk);
    if (chunk.source == kPackedGrey || chunk.source == kPackedRgb) pack(batch, chunk);
    if (ahead_ > 0 && format_.channels == 1) {
      next.prefetch(byte_of(chunk.begin) - begin_byte, byte_of(end) - begin_byte, row_bytes);
    }

    const Index ended =
        std::upper_bound(plan_.ends + progress.pixel, plan_.ends + end_pixel, end) - plan_.ends;
    if (ended - progress.first_held > kHeldResults) store(batch, strip, progress);
    while (progress.position < end) {
      add(batch, chunk, has_blocks_ ? next_block(end, progress) : end, progress);
      if (has_blocks_) end_blocks(batch, progress);
    }
  }
  store(batch, strip, progress);
  return batch.rows;
}

// The positions from `position` on: inside the rows as far as their whole pieces go, and then the rest.
RunningRows::Chunk RunningRows::chunk_at(Index position, Index last, const RowBatch& batch) const noexcept {
  if (position < 0) return {position, std::min({position + chunk_, Index{0}, last})};
  if (position >= usable_size_) return {position, std::min(position + chunk_, last)};
  Chunk chunk{position, std::min({(position / chunk_ + 1) * chunk_, usable_size_, last})};
  if (batch.groups == (source_ == kPackedGrey ? kGreyGroups : 1)) {
    const Index bytes = format_.pixel_bytes();
    const Index origin = source_ == kRgbaRows ? 0 : position;
    const Index whole = (usable_size_ - origin) * bytes / kRunningBytes * kRunningBytes;
    const Index end = origin + whole / bytes;
    if (end > position) return {position, std::min(chunk.end, end), source_};
  }
  return chunk;
}

// Samples of a chunk, as floats.
void RunningRows::convert(const RowBatch& batch, const Chunk& chunk) const noexcept {
  const bool is_inside = chunk.begin >= 0 && chunk.begin < usable_size_;
  const Index count = chunk.end - chunk.begin;
  const Index first = std::clamp<Index>(chunk.begin, 0, usable_size_ - 1);
  for (Index row = 0; row < batch.sample; row += kernels_->lanes) {
    kernels_->load[format_.depth][content_](batch.sources + row, first * format_.pixel_bytes(),
                                            (is_inside ? count : 1) * format_.channels, room_.samples + row,
                                            batch.sample);
  }
  for (Index i = 1; i < count && !is_inside; ++i) {
    std::copy_n(room_.samples, batch.pixel, room_.samples + i * batch.pixel);
  }
}

// Samples of a chunk, as bytes in lanes.
void RunningRows::pack(const RowBatch& batch, const Chunk& chunk) const noexcept {
  const Index bytes = format_.pixel_bytes();
  const Index pieces = rounded_up((chunk.end - chunk.begin) * bytes, kRunningBytes) / kRunningBytes;
  auto* const packed = reinterpret_cast<std::uint8_t*>(room_.samples);
  for (Index row = 0; row < batch.sample; row += kernels_->lanes) {
    running_->pack(batch.sources + row, chunk.begin * bytes, pieces, packed + row * kPackedBytes,
                   batch.sample * kPackedBytes, ahead_);
  }
}

// Adds the positions of a chunk up to `end`.
void RunningRows::add(const RowBatch& batch, const Chunk& chunk, Index end,
                      Progress& progress) const noexcept {
  const Index lanes = kernels_->lanes;
  const Index vectors = batch.pixel / lanes;
  const Index at_once = vectors_at_once(vectors);
  const auto pass = chunk.source == kStoredFloats
                        ? running_->add[plan_.sums - 1][at_once - 1]
                        : running_->add_bytes[chunk.source][format_.depth][plan_.sums - 1];
  const Index done = progress.position - chunk.begin;
  const auto* const packed = reinterpret_cast<const std::uint8_t*>(room_.samples);
  float* const out = room_.results + (progress.pixel - progress.first_held) * batch.pixel;
  for (Index vector = 0; vector < vectors; vector += at_once) {
    const bool is_rgb = chunk.source == kPackedRgb;  // whose vectors are samples, and not groups of rows
    pass({.samples = room_.samples + done * batch.pixel + vector * lanes,
          .packed = packed + (is_rgb ? 0 : vector * lanes * kPackedBytes),
          .packed_step = batch.sample * kPackedBytes,
          .packed_sample = done * format_.channels + (is_rgb ? vector : 0),
          .rows = batch.sources + vector,
          .ahead = ahead_,
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
