#include "resize/filtered/transposed_rows.h"

#include <cstring>

#include "resize/rounding.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

constexpr Index kMostVectors = 4;            // of a pixel
constexpr Index kSegment = 32;               // most destination pixels of a segment
constexpr double kSegmentSource = 4096.0;    // source pixels from its first pixel to its last, at most
constexpr double kGreyGroupSource = 8192.0;  // most source pixels of a segment whose batch has several groups
// Bytes of a row that are prefetched at once, unless the segment gets smaller than this for it.
constexpr double kPrefetchedBytes = 256.0;
constexpr Index kLeastPrefetchedSegment = 8;
constexpr Index kChunkBytes = 16;  // that are converted together
constexpr auto kLine = static_cast<Index>(runtime::kCacheLine);

// Bytes [begin, end) of a row, into the L1. Inlined because compilers drop calls of functions that only
// prefetch.
[[gnu::always_inline]] inline void prefetch_bytes(const std::uint8_t* row, Index begin, Index end) noexcept {
  for (Index at = begin; at < end; at += kLine) prefetch<true>(row + at);
  prefetch<true>(row + end - 1);
}

PixelSize pixel_size(const RowBatch& batch, std::int32_t channels) noexcept {
  return channels == 3 ? kRgbVectors : batch.groups * channels == 1 ? kOneVector : kFourVectors;
}

}  // namespace

// The part of a batch's rows that is converted: source positions [origin, end), which outside the source
// repeat its outermost pixels.
struct TransposedRows::Window {
  Index origin = 0;
  Index end = 0;
  Index converted = 0;  // samples of the source row; conversion runs ahead by whole chunks
};

TransposedRoom TransposedRows::take_room(runtime::Arena& arena, const Geometry& geometry,
                                         std::int32_t channels) noexcept {
  const auto taps = static_cast<double>(tap_room(geometry.x, geometry.mode));
  const double inverse = std::min(std::max(geometry.x.inverse, 0.0), taps);
  const double reached = geometry.x.usable_size + taps;
  const double stretch = std::min((kSegment - 1) * inverse, kSegmentSource);
  const double source = std::min(ceil_of(stretch), reached) + taps + 2.0 * kChunkBytes;
  const auto whole = [](double n) noexcept { return static_cast<std::uint64_t>(integer_of(n)); };

  TransposedRoom room;
  room.segment_source = static_cast<Index>(whole(source));
  room.has_grey_groups = source <= kGreyGroupSource;
  const std::uint64_t vectors =
      channels == 1 ? std::max(whole(source), kGreyGroups * whole(std::min(source, kGreyGroupSource)))
                    : whole(source) * static_cast<std::uint64_t>(channels);
  room.samples = arena.take<float>(std::max<std::uint64_t>(vectors * kMostLanes, kWindowFloats));
  const Index pixels = std::min(rounded_up(geometry.x.count, kMostLanes), kSegment);
  room.results = arena.take<float>(static_cast<std::uint64_t>((pixels + 4) * kMostVectors * kMostLanes));
  return room;
}

Index TransposedRows::most_rows_at_once(std::int32_t channels) noexcept {
  return channels == 1 ? kMostBatchRows : kMostLanes;
}

TransposedRows::TransposedRows(const RowPassFacts& facts, const TransposedRoom& room) noexcept
    : kernels_(&facts.kernels.transposed),
      table_(facts.x.table),
      room_(room),
      format_(facts.format),
      usable_size_(facts.geometry.x.usable_size),
      content_(format_.channels == 4 ? kPixelVectors : kSampleVectors),
      sums_(sums_fit_doubles(facts.x.last_place, format_.depth) ? kExactSums : kRoundedSums),
      prefetches_(facts.source_bytes() > facts.tuning.prefetched_source) {
  if (format_.channels == 3) groups_ = kernels_->rgb_groups;
  if (format_.channels == 1 && room.has_grey_groups) groups_ = kGreyGroups;
  set_segment(facts);
  clear_slack(std::min<Index>(segment_, facts.geometry.x.count));
}

void TransposedRows::set_segment(const RowPassFacts& facts) noexcept {
  const double inverse = facts.geometry.x.inverse;
  const double fitting = kSegmentSource / std::max(inverse, 1.0);
  segment_ = std::clamp(static_cast<Index>(fitting), Index{1}, kSegment);
  const double pixel_bytes = inverse * static_cast<double>(format_.pixel_bytes());
  while (prefetches_ && segment_ > kLeastPrefetchedSegment &&
         static_cast<double>(segment_) * pixel_bytes > kPrefetchedBytes) {
    segment_ /= 2;
  }
}

// `store` reads whole vectors of results. The first segment, of `count` pixels, is the longest: what it
// writes or leaves cleared is all that is ever read.
void TransposedRows::clear_slack(Index count) const noexcept {
  const Index written = count * format_.channels;
  const Index read = rounded_up(written, kernels_->lanes);
  for (const Index groups : {Index{1}, groups_}) {
    const Index sample = groups * kernels_->lanes;
    std::fill(room_.results + written * sample, room_.results + read * sample, 0.0f);
  }
}

// Fetches what is needed behind a segment of a strip. The processor follows the rows of a few groups by
// itself and is only late: they get the next segment. Those of grey batches are too many for it: a share of
// the next batch comes with each segment.
[[gnu::always_inline]] inline void TransposedRows::prefetch_after(const Strip& segment, const Strip& strip,
                                                                  const Window& window, const RowBatch& batch,
                                                                  const SourceRows& source) const noexcept {
  const TapSpan* const spans = table_.spans + strip.first;
  const Index end = segment.first + segment.count;
  const auto byte_of = [&](Index position) noexcept {
    return std::clamp<Index>(position, 0, usable_size_) * format_.pixel_bytes();
  };
  if (format_.channels == 1 && batch.groups > 1) {
    const NextBatch next(batch, source, byte_of(spans[0].first), byte_of(spans[strip.count - 1].end()));
    next.prefetch(segment.first, end, strip.count);
  } else if (end < strip.count) {
    const Index from = window.converted * sample_bytes(format_.depth);
    const Index to = byte_of(spans[std::min(end + segment_, strip.count) - 1].end());
    for (Index i = 0; from < to && i < batch.rows; ++i) prefetch_bytes(batch.sources[i], from, to);
  }
}

Index TransposedRows::run(Index first_row, const Strip& strip, const SourceRows& source,
                          const RowRing& ring) noexcept {
  const bool is_last_grey = format_.channels == 1 && source.end - first_row <= kernels_->lanes;
  const RowBatch batch(first_row, is_last_grey ? 1 : groups_, kernels_->lanes, format_.channels, source,
                       ring);
  const auto sum = kernels_->sum[pixel_size(batch, format_.channels)][sums_];
  const TapSpan* const spans = table_.spans + strip.first;
  Window window{spans[0].first, spans[0].first, std::max<Index>(spans[0].first, 0) * format_.channels};
  for (Index first = 0; first < strip.count; first += segment_) {
    const Index end = std::min(first + segment_, strip.count);
    advance(window, batch, spans[first], spans[end - 1]);
    if (prefetches_) prefetch_after({first, end - first}, strip, window, batch, source);
    sum({.samples = room_.samples,
         .origin = window.origin,
         .table = table_,
         .first = strip.first + first,
         .count = end - first,
         .out = room_.results});
    for (Index row = 0; row < batch.sample; row += kernels_->lanes) {
      kernels_->store[content_](room_.results + row, batch.sample, (end - first) * format_.channels,
                                batch.targets + row, first * format_.channels);
    }
  }
  return batch.rows;
}

// Makes the positions from the first tap of `first` to the last of `last` available, moving what is still
// needed to the front where room runs out.
void TransposedRows::advance(Window& window, const RowBatch& batch, const TapSpan& first,
                             const TapSpan& last) const noexcept {
  const Index begin = first.first;
  const Index end = last.end();
  const Index channels = format_.channels;
  const Index capacity = std::max(room_.segment_source, kWindowFloats / batch.pixel);
  if (end + kChunkBytes - window.origin > capacity) {
    const Index kept = (window.converted + channels - 1) / channels - begin;
    std::memmove(room_.samples, room_.samples + (begin - window.origin) * batch.pixel,
                 static_cast<std::size_t>(std::max(kept, window.end - begin) * batch.pixel) * sizeof(float));
    window.origin = begin;
  }

  const Index wanted = std::min(end, usable_size_) * channels - window.converted;
  if (wanted > 0) {
    const Index bytes = sample_bytes(format_.depth);
    const Index samples =
        std::min(rounded_up(wanted, kChunkBytes / bytes), usable_size_ * channels - window.converted);
    float* const out = room_.samples + (window.converted - window.origin * channels) * batch.sample;
    for (Index row = 0; row < batch.sample; row += kernels_->lanes) {
      kernels_->load[format_.depth][content_](batch.sources + row, window.converted * bytes, samples,
                                              out + row, batch.sample);
    }
    window.converted += samples;
  }
  if (window.end < 0) repeat_pixel(window, batch, 0, window.end, 0);
  repeat_pixel(window, batch, usable_size_ - 1, std::max(window.end, usable_size_), end);
  window.end = end;
}

// Fills positions [first, end) of the window with its pixel at `from`.
void TransposedRows::repeat_pixel(const Window& window, const RowBatch& batch, Index from, Index first,
                                  Index end) const noexcept {
  if (first >= end) return;
  const float* const source = room_.samples + (from - window.origin) * batch.pixel;
  for (Index i = first; i < end; ++i) {
    std::copy_n(source, batch.pixel, room_.samples + (i - window.origin) * batch.pixel);
  }
}

}  // namespace kyv::resize
