#include "resize/resampler.h"

#include <algorithm>
#include <cstring>

#include "resize/arena.h"
#include "resize/kernels/kernels.h"
#include "resize/lane_rows.h"
#include "resize/pixel_copy.h"
#include "resize/quad_rows.h"
#include "resize/rounding.h"
#include "resize/weights.h"

namespace kyv::resize {
namespace {

constexpr std::int32_t kMostLanes = 16;
constexpr std::int32_t kGreyGroups = 4;  // groups of lanes that a grey block has, to fill the pipeline
constexpr std::int32_t kMostBlockRows = kGreyGroups * kMostLanes;
constexpr std::int32_t kMostColourRows = kMostLanes;  // the same of several channels
constexpr std::uint64_t kRowSlack = 32;  // floats that a row pass may write beyond a row's results
constexpr std::int32_t kStripSamples =
    4096;  // destination samples of a strip: its ring fits the second cache
constexpr std::uint64_t kRingFloats = 98304;    // row results that stay in the second cache
constexpr std::int32_t kLaneStrip = 160;        // destination pixels that are whole groups of any lane plan
constexpr std::size_t kChunkSamples = 512;      // destination samples that the column pass takes at a time
constexpr std::size_t kStreamedSamples = 1024;  // the same, where a destination goes past the caches
constexpr std::size_t kStagedBytes = 2 * kStreamedSamples;
constexpr std::uint64_t kStreamedBytes = std::uint64_t{8} << 20;  // least destination that does
constexpr std::int32_t kSegment = 32;      // most destination pixels between two steps of conversion
constexpr double kSegmentSource = 4096.0;  // source pixels of a segment, unless a destination pixel has more
constexpr double kGreyGroupSource = 8192.0;  // most source pixels of a segment whose block has several groups
constexpr std::uint64_t kWindowFloats = 4096;  // converted samples that stay in the first cache
constexpr std::ptrdiff_t kLineBytes = 64;      // a cache line
constexpr std::uint64_t kFetchedBytes = std::uint64_t{1} << 20;  // larger sources are fetched ahead
constexpr double kFetchedSegment = 256.0;  // most bytes of a row that are fetched at once, if the segment
constexpr std::int32_t kLeastFetchedSegment = 8;  // does not get smaller than this for it
constexpr std::size_t kActiveRows = 8;            // destination rows that a source row contributes to

std::size_t size(std::int64_t n) noexcept { return static_cast<std::size_t>(n); }

// An odd number of cache lines: equal columns of neighbouring rows lie in different cache sets.
constexpr std::uint64_t ring_pitch(std::uint64_t samples) noexcept {
  return (samples + kRowSlack + 15) / 32 * 32 + 16;
}

// The column pass writes whole tiles of totals.
constexpr std::uint64_t totals_pitch(std::uint64_t ring_pitch) noexcept { return ring_pitch + kColumnSlack; }

std::int32_t strip_limit(const Geometry& geometry, std::int32_t channels) noexcept {
  return std::min(geometry.x.count, kStripSamples / channels / kSegment * kSegment);
}

bool is_streamed(std::uint64_t row_bytes, std::int32_t rows) noexcept {
  return row_bytes >= kStreamedBytes / static_cast<std::uint64_t>(rows);
}

// Every array of a filtered resize. All sizes grow with the counts, the sizes and the inverse factors, so
// that a buffer for larger ones always suffices. None is larger than the picture needs: system heaps are slow
// to give and take large blocks.
struct Workspace {
  TapTableStorage x;
  TapTableStorage y;
  LaneRowsStorage lanes;
  std::uint64_t segment_source = 0;  // source pixels that one segment needs
  bool grey_groups = false;
  float* samples = nullptr;     // window of converted samples of one block of rows, vectors of rows
  float* results = nullptr;     // row results of one segment, vectors of rows
  std::uint64_t kept_rows = 0;  // that the ring has to hold besides those of a block
  std::uint64_t most_rows = 0;  // that it ever holds
  std::uint64_t ring_stride = 0;
  std::uint64_t ring_floats = 0;
  float* ring = nullptr;           // row results by rows; one more row takes what is not wanted
  float* totals = nullptr;         // of kActiveRows destination rows
  std::uint8_t* staged = nullptr;  // pieces of two destination rows

  Workspace(Arena& arena, const Geometry& geometry, std::int32_t channels) noexcept {
    x = take_tap_table(arena, geometry.x, geometry.mode);
    y = take_tap_table(arena, geometry.y, geometry.mode);
    lanes = take_lane_rows(arena, geometry.x, geometry.mode, channels);
    const auto taps_x = static_cast<double>(tap_room(geometry.x, geometry.mode));
    const std::uint64_t taps_y = tap_room(geometry.y, geometry.mode);
    const double inverse_x = std::min(std::max(geometry.x.inverse, 0.0), taps_x);

    const double reached = geometry.x.usable_size + taps_x;
    const double stretch = std::min(kSegment * inverse_x, std::max(kSegmentSource, inverse_x));
    const double source = std::min(ceil_of(stretch), reached) + taps_x + 32.0;
    segment_source = static_cast<std::uint64_t>(integer_of(source));
    grey_groups = source <= kGreyGroupSource;
    const auto grouped = static_cast<std::uint64_t>(integer_of(std::min(source, kGreyGroupSource)));
    const std::uint64_t vectors = channels == 1 ? std::max(segment_source, kGreyGroups * grouped)
                                                : segment_source * static_cast<std::uint64_t>(channels);
    samples = arena.take<float>(std::max(vectors * kMostLanes, kWindowFloats));
    const std::uint64_t whole_vectors = (static_cast<std::uint64_t>(geometry.x.count) + 15) / 16 * 16;
    results = arena.take<float>((std::min<std::uint64_t>(whole_vectors, kSegment) + 4) * 4 * kMostLanes);

    const double gap = std::min(std::max(geometry.y.inverse, 0.0), double{kTapBlock});
    kept_rows =
        std::min<std::uint64_t>(taps_y, kTapBlock) + static_cast<std::uint64_t>(integer_of(ceil_of(gap))) + 1;
    most_rows = static_cast<std::uint64_t>(geometry.y.usable_size);
    const auto samples_across =
        static_cast<std::uint64_t>(strip_limit(geometry, channels)) * static_cast<std::uint64_t>(channels);
    ring_stride = ring_pitch(samples_across);
    ring_floats = (ring_rows(channels == 1 ? kMostBlockRows : kMostColourRows) + 1) * ring_stride;
    ring = arena.take<float>(ring_floats);
    const std::uint64_t most_row_bytes = static_cast<std::uint64_t>(geometry.x.count) *
                                         static_cast<std::uint64_t>(channels) * sizeof(std::uint16_t);
    staged = arena.take<std::uint8_t>(is_streamed(most_row_bytes, geometry.y.count) ? 2 * kStagedBytes : 0);
    totals = arena.take<float>(taps_y > kTapBlock ? kActiveRows * totals_pitch(ring_stride) : 0);
  }

  // Rows of the ring where blocks have `block` of them.
  std::uint64_t ring_rows(std::uint64_t block) const noexcept {
    return std::min(kept_rows + block, most_rows);
  }
};

LaneSource lane_source(const ResampleJob& job) noexcept {
  const std::int32_t sample_bytes = job.bits / 8;
  const std::uint64_t samples = static_cast<std::uint64_t>(job.geometry.x.usable_size) *
                                static_cast<std::uint64_t>(job.geometry.y.usable_size) *
                                static_cast<std::uint64_t>(job.channels);
  return {job.channels, sample_bytes, samples * static_cast<std::uint64_t>(sample_bytes)};
}

// One filtered request: strips of destination columns, and in each strip blocks of source rows.
class FilteredResize {
 public:
  FilteredResize(const ResampleJob& job, void* work, const Kernels& kernels) noexcept
      : job_(job),
        kernels_(kernels),
        arena_(work),
        work_(arena_, job.geometry, job.channels),
        sample_bytes_(job.bits / 8),
        depth_(job.bits == 8 ? 0 : 1),
        built_x_(build_tap_table(work_.x, job.geometry.x, job.geometry.mode, kernels)),
        x_(built_x_.table),
        quads_(x_, job.geometry, lane_source(job), kernels.shuffled),
        lanes_(work_.lanes, x_, job.geometry.x, lane_source(job),
               quads_.usable() ? PermutedKernels{} : kernels.permuted) {
    const Geometry& geometry = job.geometry;
    const BuiltTable built_y =
        geometry.y == geometry.x ? built_x_ : build_tap_table(work_.y, geometry.y, geometry.mode, kernels);
    y_ = built_y.table;
    // Weights down to 2^-20 (2^-12) make products that are multiples of 2^-43 (2^-35), and sums of them with
    // 8-bit (16-bit) samples stay below 2^10 (2^18): they fit the 53 bits of a double.
    const auto row_bytes = static_cast<std::uint64_t>(geometry.x.count) *
                           static_cast<std::uint64_t>(job.channels * sample_bytes_);
    streamed_ = kernels.bytes.stream != nullptr && is_streamed(row_bytes, geometry.y.count);
    fetches_ = lane_source(job).bytes > kFetchedBytes;
    exact_sums_ = built_x_.smallest >= (job.bits == 8 ? 0x1p-20f : 0x1p-12f);
    // The last place of a weight is at least 2^-24 of it; row results are multiples of the weights' last
    // place.
    normal_ = static_cast<double>(built_x_.smallest) * static_cast<double>(built_y.smallest) >= 0x1p-101;
    if (job.channels == 3 && !quads_.usable())
      groups_ = static_cast<std::int32_t>(kernels.transposed.rgb_groups);
    if (job.channels == 1 && work_.grey_groups) groups_ = kGreyGroups;
    layout_ = job.channels == 4 ? 1 : 0;
    ring_rows_ = work_.ring_rows(size(lanes_.usable() ? kPermutedRows : groups_ * kernels.transposed.lanes));
    const double fitting = kSegmentSource / std::max(geometry.x.inverse, 1.0);
    segment_ = std::clamp(static_cast<std::int32_t>(fitting), 1, kSegment);
    const double pixel_bytes = geometry.x.inverse * job.channels * sample_bytes_;
    while (fetches_ && segment_ > kLeastFetchedSegment && segment_ * pixel_bytes > kFetchedSegment) {
      segment_ /= 2;
    }
    source_ = static_cast<const std::uint8_t*>(job.src) +
              static_cast<std::ptrdiff_t>(geometry.y.origin) * job.src_step +
              static_cast<std::ptrdiff_t>(geometry.x.origin) * job.channels * sample_bytes_;
  }

  void run() noexcept {
    const std::int32_t count = job_.geometry.x.count;
    const std::int32_t strip = std::min(lanes_.usable() ? lane_strip() : block_strip(), count);
    ring_stride_ = ring_pitch(size(strip) * size(job_.channels));
    for (std::int32_t first = 0; first < count; first += strip)
      run_strip(first, std::min(strip, count - first));
    if (streamed_) kernels_.bytes.stream_fence();
  }

 private:
  std::int32_t block_strip() const noexcept {
    const auto fitting = static_cast<std::int32_t>(kRingFloats / ring_rows_) / job_.channels;
    return std::clamp(fitting / 64 * 64, 64, std::max(64, strip_limit(job_.geometry, job_.channels)));
  }

  // With fewer rows the ring's memory holds longer ones, unless totals of that length are needed, too.
  std::int32_t lane_strip() const noexcept {
    const std::uint64_t floats = std::min(work_.ring_floats, kRingFloats) / (ring_rows_ + 1);
    const std::int32_t fitting = y_.stride > kTapBlock
                                     ? strip_limit(job_.geometry, job_.channels)
                                     : static_cast<std::int32_t>(floats - 2 * kRowSlack) / job_.channels;
    return std::max(fitting / kLaneStrip, 1) * kLaneStrip;
  }

  void run_strip(std::int32_t first, std::int32_t count) noexcept {
    strip_first_ = first;
    strip_count_ = count;
    next_row_ = 0;
    const TapSpan& right = x_.spans[first + count - 1];
    const std::int64_t usable = job_.geometry.x.usable_size;
    const std::int64_t pixel = std::int64_t{job_.channels} * sample_bytes_;
    strip_bytes_[0] = std::clamp<std::int64_t>(x_.spans[first].first, 0, usable) * pixel;
    strip_bytes_[1] = std::clamp<std::int64_t>(right.first + right.count, 0, usable) * pixel;
    const TapSpan& top = y_.spans[0];
    const TapSpan& bottom = y_.spans[job_.geometry.y.count - 1];
    end_row_ = clamp_row(bottom.first + bottom.count - 1) + 1;
    for (std::int64_t row = clamp_row(top.first); row < end_row_;) {
      row += lanes_.usable()   ? resample_lane_rows(row)
             : quads_.usable() ? resample_quads(row)
                               : resample_block(row);
      if (y_.stride > kTapBlock) {
        emit_long_rows(row);
      } else {
        emit_rows(row);
      }
    }
  }

  // Row results of the next source rows, into the ring; how many rows that were.
  std::int64_t resample_lane_rows(std::int64_t row) noexcept {
    const std::uint8_t* sources[kPermutedRows];
    float* targets[kPermutedRows];
    for (std::int32_t i = 0; i < kPermutedRows; ++i) {
      sources[i] = source_row(std::min(row + i, end_row_ - 1));
      targets[i] = row + i < end_row_ ? ring_row(row + i) : unwanted_row();
    }
    const bool followed = row + 2 * kPermutedRows <= end_row_;
    const std::ptrdiff_t ahead = followed ? kPermutedRows * std::ptrdiff_t{job_.src_step} : 0;
    lanes_.run(sources, ahead, strip_first_, strip_count_, targets);
    return std::min<std::int64_t>(kPermutedRows, end_row_ - row);
  }

  // Where too few rows of the source follow, the block begins earlier and repeats results.
  std::int64_t resample_quads(std::int64_t row) noexcept {
    const Block block(std::min(row, job_.geometry.y.usable_size - std::int64_t{kernels_.shuffled.rows}), 1,
                      *this);
    quads_.run(block.sources[0], job_.src_step, strip_first_, strip_count_, block.targets);
    return block.first + block.rows - row;
  }

  std::int64_t resample_block(std::int64_t row) noexcept {
    const bool is_last_grey = job_.channels == 1 && end_row_ - row <= kernels_.transposed.lanes;
    const Block block(row, is_last_grey ? 1 : groups_, *this);
    resample_rows(block);
    return block.rows;
  }

  // A block of source rows: `groups` vectors of them; where rows are missing, the last one stands in.
  struct Block {
    std::int64_t first = 0;
    std::int32_t rows = 0;
    std::int32_t groups = 1;
    std::int32_t lanes = 0;
    std::size_t sample = 0;  // floats of one converted sample
    std::size_t pixel = 0;   // floats of one converted pixel
    const std::uint8_t* sources[kMostBlockRows];
    float* targets[kMostBlockRows];

    Block(std::int64_t first_row, std::int32_t group_count, const FilteredResize& resize) noexcept
        : first(first_row),
          groups(group_count),
          lanes(static_cast<std::int32_t>(resize.kernels_.transposed.lanes)) {
      rows = static_cast<std::int32_t>(std::min<std::int64_t>(groups * lanes, resize.end_row_ - first));
      sample = size(groups) * size(lanes);
      pixel = sample * size(resize.job_.channels);
      for (std::int32_t i = 0; i < groups * lanes; ++i) {
        const std::int64_t row = first + std::min(i, rows - 1);
        sources[i] = resize.source_row(row);
        targets[i] = i < rows ? resize.ring_row(row) : resize.unwanted_row();
      }
    }
  };

  // The part of a block's rows that is converted: source positions [origin, end), which outside the source
  // repeat its outermost pixels.
  struct Window {
    std::int64_t origin = 0;
    std::int64_t end = 0;
    std::int64_t converted = 0;  // samples of the source row; conversion runs ahead by whole chunks
  };

  // Row results of the block, into the ring.
  void resample_rows(const Block& block) noexcept {
    const std::int32_t vectors = block.groups * job_.channels;
    const std::int32_t which = job_.channels == 3 ? 1 : vectors == 1 ? 0 : 2;
    const auto row_pass = kernels_.transposed.sum[which][exact_sums_ ? 1 : 0];
    const TapSpan* spans = x_.spans + strip_first_;
    Window window;
    window.origin = window.end = spans[0].first;
    window.converted = std::max<std::int64_t>(window.origin, 0) * job_.channels;

    for (std::int32_t first = 0; first < strip_count_; first += segment_) {
      const std::int32_t count = std::min(segment_, strip_count_ - first);
      const TapSpan& last = spans[first + count - 1];
      advance(window, block, spans[first].first, last.first + last.count);
      if (fetches_) fetch(block, window, first, first + count);

      TransposedArgs args;
      args.samples = work_.samples;
      args.origin = window.origin;
      args.table = x_;
      args.first = strip_first_ + first;
      args.count = count;
      args.out = work_.results;
      row_pass(args);
      for (std::int32_t group = 0; group < block.groups; ++group) {
        kernels_.transposed.store[layout_](
            work_.results + group * block.lanes, block.sample, size(count) * size(job_.channels),
            block.targets + group * block.lanes, size(first) * size(job_.channels));
      }
    }
  }

  // Makes positions [begin, end) available, moving what is still needed to the front where room runs out.
  void advance(Window& window, const Block& block, std::int64_t begin, std::int64_t end) noexcept {
    const std::int64_t usable = job_.geometry.x.usable_size;
    const std::int64_t channels = job_.channels;
    const auto capacity =
        static_cast<std::int64_t>(std::max<std::uint64_t>(work_.segment_source, kWindowFloats / block.pixel));
    if (end + 16 - window.origin > capacity) {
      const std::int64_t kept = (window.converted + channels - 1) / channels - begin;
      std::memmove(work_.samples, work_.samples + size(begin - window.origin) * block.pixel,
                   size(std::max(kept, window.end - begin)) * block.pixel * sizeof(float));
      window.origin = begin;
    }

    const std::int64_t wanted = std::min(end, usable) * channels - window.converted;
    if (wanted > 0) {
      const std::int64_t chunk = 16 / sample_bytes_;
      const std::int64_t samples =
          std::min((wanted + chunk - 1) / chunk * chunk, usable * channels - window.converted);
      float* out = work_.samples + size(window.converted - window.origin * channels) * block.sample;
      for (std::int32_t group = 0; group < block.groups; ++group) {
        kernels_.transposed.load[depth_][layout_](block.sources + group * block.lanes,
                                                  size(window.converted * sample_bytes_), size(samples),
                                                  out + group * block.lanes, block.sample);
      }
      window.converted += samples;
    }
    if (window.end < 0) repeat_pixel(window, block, 0, window.end, 0);
    repeat_pixel(window, block, usable - 1, std::max(window.end, usable), end);
    window.end = end;
  }

  // Fills positions [first, end) of the window with its pixel at `from`.
  void repeat_pixel(const Window& window, const Block& block, std::int64_t from, std::int64_t first,
                    std::int64_t end) noexcept {
    if (first >= end) return;
    const float* source = work_.samples + size(from - window.origin) * block.pixel;
    for (std::int64_t i = first; i < end; ++i) {
      std::memcpy(work_.samples + size(i - window.origin) * block.pixel, source, block.pixel * sizeof(float));
    }
  }

  // Fetches source bytes while the destination pixels [first, end) of the strip are computed. The processor
  // follows the rows of a few groups by itself and is only late; those of grey blocks are too many for it.
  // Inlined, like the following two, because compilers drop calls of functions that only fetch.
  [[gnu::always_inline]] void fetch(const Block& block, const Window& window, std::int32_t first,
                                    std::int32_t end) const noexcept {
    if (job_.channels == 1 && block.groups > 1) {
      fetch_next_block(block, first, end);
    } else {
      fetch_segment(block, window, end);
    }
  }

  // Fetches the rows of the next block into the second cache, one after the other as memory likes it, in the
  // proportion in which the destination pixels [first, end) belong to the strip.
  [[gnu::always_inline]] void fetch_next_block(const Block& block, std::int64_t first,
                                               std::int64_t end) const noexcept {
    const std::int64_t next = block.first + block.rows;
    const std::int64_t rows = std::min<std::int64_t>(block.groups * block.lanes, end_row_ - next);
    const std::int64_t row_lines = (strip_bytes_[1] - strip_bytes_[0] + kLineBytes - 1) / kLineBytes;
    const std::int64_t stop = rows * row_lines * end / strip_count_;
    for (std::int64_t line = rows * row_lines * first / strip_count_; line < stop;) {
      const std::int64_t row = line / row_lines;
      const std::int64_t row_stop = std::min(stop, (row + 1) * row_lines);
      const std::uint8_t* const from = source_row(next + row) + strip_bytes_[0];
      const auto end_line = static_cast<std::ptrdiff_t>(row_stop - row * row_lines);
      for (auto at = static_cast<std::ptrdiff_t>(line - row * row_lines); at < end_line; ++at) {
        __builtin_prefetch(from + at * kLineBytes, 0, 1);
      }
      line = row_stop;
    }
  }

  // Fetches what the segment from destination pixel `first` on will convert into the first cache.
  [[gnu::always_inline]] void fetch_segment(const Block& block, const Window& window,
                                            std::int32_t first) const noexcept {
    if (first >= strip_count_) return;
    const TapSpan& last = x_.spans[strip_first_ + std::min(first + segment_, strip_count_) - 1];
    const std::int64_t pixels = std::min<std::int64_t>(last.first + last.count, job_.geometry.x.usable_size);
    // Of a row's bytes, which fit the address space: 32-bit processors have no 64-bit integers.
    const auto begin = static_cast<std::ptrdiff_t>(window.converted * sample_bytes_);
    const auto stop = static_cast<std::ptrdiff_t>(pixels * job_.channels * sample_bytes_);
    if (begin >= stop) return;
    for (std::int32_t row = 0; row < block.rows; ++row) {
      const std::uint8_t* const from = block.sources[row];
      for (std::ptrdiff_t at = begin; at < stop; at += kLineBytes) __builtin_prefetch(from + at, 0, 3);
      __builtin_prefetch(from + stop - 1, 0, 3);
    }
  }

  // Writes the destination rows whose taps lie above source row `end`: chunk by chunk, so that the ring is
  // read from the first cache.
  void emit_rows(std::int64_t end) noexcept {
    const std::int32_t count = job_.geometry.y.count;
    const std::int32_t first = next_row_;
    while (next_row_ < count && complete(y_.spans[next_row_], end)) {
      const bool pair = starts_pair(next_row_);
      if (pair && !complete(y_.spans[next_row_ + 1], end)) break;
      next_row_ += pair ? 2 : 1;
    }
    const std::size_t samples = size(strip_count_) * size(job_.channels);
    const std::size_t most = streamed_ ? kStreamedSamples : kChunkSamples;
    for (std::size_t x = 0; x < samples; x += most) {
      const std::size_t chunk = std::min(most, samples - x);
      for (std::int32_t row = first; row < next_row_;) {
        const std::int32_t rows = starts_pair(row) ? 2 : 1;
        emit_short_rows(row, rows, x, chunk);
        row += rows;
      }
    }
  }

  bool starts_pair(std::int32_t row) const noexcept {
    return row + 1 < job_.geometry.y.count && overlap(y_.spans[row], y_.spans[row + 1]);
  }

  // Samples [x, x + samples) of one or two destination rows.
  void emit_short_rows(std::int32_t row, std::int32_t rows, std::size_t x, std::size_t samples) noexcept {
    const TapSpan* span = y_.spans + row;
    const float* taps[3 * kTapBlock];
    const TapSpan& last = span[rows - 1];
    const std::int64_t end = last.first + last.count;
    list_rows(span->first, end, x, taps);

    ColumnArgs args;
    args.rows = taps;
    args.samples = samples;
    for (std::int32_t r = 0; r < rows; ++r) {
      args.weights[r] = y_.weights + span[r].phase * y_.stride;
      args.count[r] = span[r].count;
      args.dst[r] = streamed_ ? staged(r) : destination(row + r) + x * size(sample_bytes_);
    }
    args.lead = static_cast<std::int32_t>(last.first - span->first);
    args.normal = normal_;
    kernels_.columns.sum[depth_](args);
    for (std::int32_t r = 0; streamed_ && r < rows; ++r) {
      kernels_.bytes.stream(staged(r), destination(row + r) + x * size(sample_bytes_),
                            samples * size(sample_bytes_));
    }
  }

  // Sample `x` of the row results at source positions [first, end).
  void list_rows(std::int64_t first, std::int64_t end, std::size_t x, const float** rows) const noexcept {
    const std::int64_t last = job_.geometry.y.usable_size - 1;
    const float* const ring_end = work_.ring + ring_rows_ * ring_stride_;
    const float* row = ring_row(clamp_row(first));
    for (std::int64_t n = first; n < end; ++n) {
      *rows++ = row + x;
      if (n < 0 || n >= last) continue;
      row += ring_stride_;
      if (row == ring_end) row = work_.ring;
    }
  }

  std::uint8_t* staged(std::int32_t row) const noexcept { return work_.staged + size(row) * kStagedBytes; }

  // The same for rows of several blocks of taps: each block is summed as soon as its source rows are there.
  void emit_long_rows(std::int64_t end) noexcept {
    for (std::int32_t row = next_row_; row < job_.geometry.y.count; ++row) {
      const TapSpan& span = y_.spans[row];
      const std::size_t slot = size(row) % kActiveRows;
      std::int32_t& done = taps_done_[slot];
      float* totals = work_.totals + slot * totals_pitch(ring_stride_);
      while (done < span.count) {
        const auto taps = static_cast<std::int32_t>(std::min<Index>(kTapBlock, span.count - done));
        if (clamp_row(span.first + done + taps - 1) >= end) break;
        add_block(span, done, taps, totals);
        done += taps;
      }
      if (done == 0) return;
      if (done < span.count) continue;
      kernels_.columns.round[depth_](totals, size(strip_count_) * size(job_.channels), destination(row));
      done = 0;
      next_row_ = row + 1;
    }
  }

  void add_block(const TapSpan& span, std::int32_t done, std::int32_t taps, float* totals) noexcept {
    const float* rows[kTapBlock];
    list_rows(span.first + done, span.first + done + taps, 0, rows);
    ColumnArgs args;
    args.rows = rows;
    args.weights[0] = y_.weights + span.phase * y_.stride + done;
    args.count[0] = taps;
    args.samples = size(strip_count_) * size(job_.channels);
    kernels_.columns.add_block(args, done == 0, totals);
  }

  bool complete(const TapSpan& span, std::int64_t end) const noexcept {
    return clamp_row(span.first + span.count - 1) < end;
  }

  static bool overlap(const TapSpan& a, const TapSpan& b) noexcept {
    return b.first >= a.first && b.first < a.first + a.count && b.first + b.count >= a.first + a.count;
  }

  std::int64_t clamp_row(std::int64_t row) const noexcept {
    return std::clamp<std::int64_t>(row, 0, job_.geometry.y.usable_size - 1);
  }

  const std::uint8_t* source_row(std::int64_t row) const noexcept {
    return source_ + static_cast<std::ptrdiff_t>(row) * job_.src_step;
  }

  float* ring_row(std::int64_t row) const noexcept {
    return work_.ring + static_cast<std::uint64_t>(row) % ring_rows_ * ring_stride_;
  }

  float* unwanted_row() const noexcept { return work_.ring + ring_rows_ * ring_stride_; }

  std::uint8_t* destination(std::int32_t row) const noexcept {
    const Geometry& geometry = job_.geometry;
    return static_cast<std::uint8_t*>(job_.dst) +
           (static_cast<std::ptrdiff_t>(geometry.y.first) + row) * job_.dst_step +
           (static_cast<std::ptrdiff_t>(geometry.x.first) + strip_first_) * job_.channels * sample_bytes_;
  }

  const ResampleJob& job_;
  const Kernels& kernels_;
  Arena arena_;
  const Workspace work_;
  const std::int32_t sample_bytes_;
  const std::int32_t depth_;
  std::int32_t layout_ = 0;  // as in Kernels::load_block
  std::int32_t groups_ = 1;  // of a block, but for the last one of a grey picture
  const BuiltTable built_x_;
  const TapTable x_;
  QuadRows quads_;
  LaneRows lanes_;
  TapTable y_;
  bool exact_sums_ = false;
  bool streamed_ = false;
  bool fetches_ = false;
  bool normal_ = false;                   // as in ColumnArgs
  const std::uint8_t* source_ = nullptr;  // pixel (0, 0) of the region
  std::uint64_t ring_rows_ = 0;
  std::uint64_t ring_stride_ = 0;
  std::int32_t segment_ = kSegment;  // destination pixels
  std::int64_t end_row_ = 0;         // one past the last source row that is needed
  std::int32_t strip_first_ = 0;
  std::int32_t strip_count_ = 0;
  std::int64_t strip_bytes_[2] = {};  // first byte of a source row that the strip needs, and the end
  std::int32_t next_row_ = 0;
  std::int32_t taps_done_[kActiveRows] = {};
};

}  // namespace

std::int64_t work_buffer_bytes(const Geometry& geometry, std::int32_t channels) noexcept {
  Arena arena;
  if (geometry.mode == Mode::kNearest) {
    take_nearest_tables(arena, geometry.x, channels);
  } else {
    const Workspace measured(arena, geometry, channels);
    static_cast<void>(measured);
  }
  return static_cast<std::int64_t>(arena.bytes());
}

void resample(const ResampleJob& job, void* work, const Kernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  if (coincides(geometry)) return copy_pixels(job, kernels.bytes);
  if (geometry.mode == Mode::kNearest) return resize_nearest(job, work, kernels.bytes);
  FilteredResize(job, work, kernels).run();
}
}  // namespace kyv::resize
