#include "resize/resampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "resize/arena.h"
#include "resize/kernels/kernels.h"
#include "resize/weights.h"

namespace kyv::resize {
namespace {

constexpr std::int32_t kMostLanes = 16;
constexpr std::int32_t kGreyGroups = 4;      // groups of lanes that a grey block has, to fill the pipeline
constexpr std::int32_t kStripSamples = 256;  // destination samples of one strip
constexpr std::int32_t kSegment = 16;        // destination pixels between two steps of conversion
constexpr double kStripSource = 4096.0;  // source pixels of one strip, unless one destination pixel has more
constexpr double kGreyGroupSource = 8192.0;  // most source pixels of a strip whose block has several groups
constexpr std::size_t kActiveRows = 8;       // destination rows that a source row contributes to
constexpr std::int32_t kMostBlockRows = kGreyGroups * kMostLanes;

std::int32_t strip_limit(const Geometry& geometry, std::int32_t channels) noexcept {
  const std::int32_t pixels = kStripSamples / channels / kSegment * kSegment;
  if (geometry.x.count >= pixels) return pixels;
  return (geometry.x.count - 1) / kSegment * kSegment + kSegment;
}

// Every array of a filtered resize. All sizes grow with the counts, the sizes and the inverse factors, so
// that a buffer for larger ones always suffices.
struct Workspace {
  TapTableStorage x;
  TapTableStorage y;
  std::uint64_t strip_source = 0;  // source pixels of a converted strip
  bool grey_groups = false;
  float* samples = nullptr;  // converted samples of one block of rows, strip by strip
  float* results = nullptr;  // row results of one segment, vectors of rows
  std::uint64_t ring_rows = 0;
  std::uint64_t ring_stride = 0;
  float* ring = nullptr;  // row results by rows; one more row takes what is not wanted
  float* totals = nullptr;

  Workspace(Arena& arena, const Geometry& geometry, std::int32_t channels) noexcept {
    x = take_tap_table(arena, geometry.x, geometry.mode);
    y = take_tap_table(arena, geometry.y, geometry.mode);
    const auto taps_x = static_cast<double>(tap_room(geometry.x, geometry.mode));
    const std::uint64_t taps_y = tap_room(geometry.y, geometry.mode);
    const double inverse_x = std::min(std::max(geometry.x.inverse, 0.0), taps_x);
    const std::int32_t limit = strip_limit(geometry, channels);

    const double source =
        std::ceil(std::min(limit * inverse_x, std::max(kStripSource, inverse_x))) + taps_x + 32.0;
    strip_source = static_cast<std::uint64_t>(source);
    grey_groups = source <= kGreyGroupSource;
    const std::uint64_t vectors =
        channels != 1
            ? strip_source * static_cast<std::uint64_t>(channels)
            : std::max(strip_source,
                       kGreyGroups * static_cast<std::uint64_t>(std::min(source, kGreyGroupSource)));
    samples = arena.take<float>((vectors + 16 * kGreyGroups) * kMostLanes);
    results = arena.take<float>((kSegment + 4) * 4 * kMostLanes);

    const auto block_taps = std::min<std::uint64_t>(taps_y, kTapBlock);
    const double gap = std::min(std::max(geometry.y.inverse, 0.0), double{kTapBlock});
    ring_rows = block_taps + static_cast<std::uint64_t>(std::ceil(gap)) + 1 + kMostBlockRows;
    ring_stride =
        static_cast<std::uint64_t>(limit) * static_cast<std::uint64_t>(channels) + kColumnSlack + 16;
    ring_stride = ring_stride / 16 * 16;
    ring = arena.take<float>((ring_rows + 1) * ring_stride);
    totals = arena.take<float>(taps_y > kTapBlock ? kActiveRows * ring_stride : 0);
  }
};

std::size_t size(std::int64_t n) noexcept { return static_cast<std::size_t>(n); }

// One filtered request: strips of destination columns, and in each strip blocks of source rows.
class FilteredResize {
 public:
  FilteredResize(const ResampleJob& job, void* work, const Kernels& kernels) noexcept
      : job_(job),
        kernels_(kernels),
        arena_(work),
        work_(arena_, job.geometry, job.channels),
        sample_bytes_(job.bits / 8),
        depth_(job.bits == 8 ? 0 : 1) {
    const Geometry& geometry = job.geometry;
    const BuiltTable x = build_tap_table(work_.x, geometry.x, geometry.mode, kernels);
    x_ = x.table;
    y_ = build_tap_table(work_.y, geometry.y, geometry.mode, kernels).table;
    // Weights down to 2^-20 (2^-12) make products that are multiples of 2^-43 (2^-35), and sums of them with
    // 8-bit (16-bit) samples stay below 2^10 (2^18): they fit the 53 bits of a double.
    exact_sums_ = x.smallest >= (job.bits == 8 ? 0x1p-20f : 0x1p-12f);
    source_ = static_cast<const std::uint8_t*>(job.src) +
              static_cast<std::ptrdiff_t>(geometry.y.origin) * job.src_step +
              static_cast<std::ptrdiff_t>(geometry.x.origin) * job.channels * sample_bytes_;
  }

  void run() noexcept {
    const Geometry& geometry = job_.geometry;
    const double inverse = std::max(geometry.x.inverse, 1e-3);
    const double by_source = kStripSource / inverse;
    std::int32_t strip = strip_limit(geometry, job_.channels);
    if (by_source < strip) strip = std::max(1, static_cast<std::int32_t>(by_source));
    for (std::int32_t first = 0; first < geometry.x.count; first += strip) {
      run_strip(first, std::min(strip, geometry.x.count - first));
    }
  }

 private:
  void run_strip(std::int32_t first, std::int32_t count) noexcept {
    strip_first_ = first;
    strip_count_ = count;
    next_row_ = 0;
    const TapSpan& top = y_.spans[0];
    const TapSpan& bottom = y_.spans[job_.geometry.y.count - 1];
    const std::int64_t end = clamp_row(bottom.first + bottom.count - 1) + 1;
    for (std::int64_t row = clamp_row(top.first); row < end;) {
      const std::int32_t groups =
          job_.channels == 1 && work_.grey_groups && end - row > kernels_.float_lanes ? kGreyGroups : 1;
      const auto rows =
          static_cast<std::int32_t>(std::min<std::int64_t>(groups * kernels_.float_lanes, end - row));
      resample_rows(row, rows, groups);
      row += rows;
      if (y_.stride > kTapBlock) {
        emit_long_rows(row);
      } else {
        emit_rows(row);
      }
    }
  }

  // Row results of the source rows [first, first + count), into the ring.
  void resample_rows(std::int64_t first, std::int32_t count, std::int32_t groups) noexcept {
    const std::int32_t lanes = kernels_.float_lanes;
    const std::uint8_t* sources[kMostBlockRows];
    float* targets[kMostBlockRows];
    for (std::int32_t i = 0; i < groups * lanes; ++i) {
      const std::int64_t row = first + std::min(i, count - 1);
      sources[i] = source_ + static_cast<std::ptrdiff_t>(row) * job_.src_step;
      targets[i] = i < count ? ring_row(row) : work_.ring + work_.ring_rows * work_.ring_stride;
    }

    const std::int32_t channels = job_.channels;
    const std::int32_t vectors = groups == 1 ? channels : groups;
    const std::size_t sample_stride = size(groups) * size(lanes);
    const TapSpan* spans = x_.spans + strip_first_;
    const std::int64_t origin = spans[0].first;
    std::int64_t converted =
        std::max<std::int64_t>(origin, 0) * channels;  // samples from the region's left edge
    const std::int64_t available = std::int64_t{job_.geometry.x.usable_size} * channels;
    std::int64_t padded = job_.geometry.x.usable_size;
    const std::int64_t chunk = 16 / sample_bytes_;

    for (std::int32_t segment = 0; segment < strip_count_; segment += kSegment) {
      const std::int32_t pixels = std::min(kSegment, strip_count_ - segment);
      const TapSpan& last = spans[segment + pixels - 1];
      const std::int64_t end = last.first + last.count;
      const std::int64_t wanted = std::min(end * channels, available) - converted;
      if (wanted > 0) {
        const std::int64_t samples = std::min((wanted + chunk - 1) / chunk * chunk, available - converted);
        float* out = work_.samples + size(converted - origin * channels) * sample_stride;
        for (std::int32_t group = 0; group < groups; ++group) {
          kernels_.load_block[depth_](sources + group * lanes, size(converted * sample_bytes_), size(samples),
                                      out + group * lanes, sample_stride);
        }
        converted += samples;
      }
      const std::size_t pixel = size(vectors) * size(lanes);
      if (segment == 0) repeat_pixel(-origin, 0, -origin, pixel);
      if (end > padded) {
        repeat_pixel(job_.geometry.x.usable_size - 1 - origin, padded - origin, end - padded, pixel);
        padded = end;
      }

      RowPassArgs args;
      args.samples = work_.samples;
      args.origin = origin;
      args.table = x_;
      args.first = strip_first_ + segment;
      args.count = pixels;
      args.out = work_.results;
      kernels_.row_pass[vectors == 1 ? 0 : vectors - 2][exact_sums_ ? 1 : 0](args);
      for (std::int32_t group = 0; group < groups; ++group) {
        kernels_.store_block(work_.results + group * lanes, sample_stride, size(pixels) * size(channels),
                             targets + group * lanes, size(segment) * size(channels));
      }
    }
  }

  // Copies the converted pixel at `from` to [to, to + count), in pixels from the strip's origin.
  void repeat_pixel(std::int64_t from, std::int64_t to, std::int64_t count, std::size_t pixel) noexcept {
    if (count <= 0) return;
    const float* source = work_.samples + size(from) * pixel;
    for (std::int64_t i = 0; i < count; ++i) {
      std::memcpy(work_.samples + size(to + i) * pixel, source, pixel * sizeof(float));
    }
  }

  // Writes the destination rows whose taps lie above source row `end`.
  void emit_rows(std::int64_t end) noexcept {
    const std::int32_t count = job_.geometry.y.count;
    while (next_row_ < count) {
      const TapSpan& span = y_.spans[next_row_];
      if (!complete(span, end)) return;
      const bool pair = next_row_ + 1 < count && overlap(span, y_.spans[next_row_ + 1]);
      if (pair && !complete(y_.spans[next_row_ + 1], end)) return;
      emit_short_rows(pair ? 2 : 1);
    }
  }

  void emit_short_rows(std::int32_t rows) noexcept {
    const TapSpan* span = y_.spans + next_row_;
    const float* taps[3 * kTapBlock];
    const TapSpan& last = span[rows - 1];
    const std::int64_t end = last.first + last.count;
    for (std::int64_t n = span->first; n < end; ++n) taps[n - span->first] = ring_row(clamp_row(n));

    ColumnPassArgs args;
    args.rows = taps;
    args.samples = size(strip_count_) * size(job_.channels);
    for (std::int32_t r = 0; r < rows; ++r) {
      args.weights[r] = y_.weights + span[r].phase * y_.stride;
      args.count[r] = span[r].count;
      args.dst[r] = destination(next_row_ + r);
    }
    args.lead = static_cast<std::int32_t>(last.first - span->first);
    kernels_.column_pass[depth_](args);
    next_row_ += rows;
  }

  // The same for rows of several blocks of taps: each block is summed as soon as its source rows are there.
  void emit_long_rows(std::int64_t end) noexcept {
    for (std::int32_t row = next_row_; row < job_.geometry.y.count; ++row) {
      const TapSpan& span = y_.spans[row];
      const std::size_t slot = size(row) % kActiveRows;
      std::int32_t& done = taps_done_[slot];
      float* totals = work_.totals + slot * work_.ring_stride;
      while (done < span.count) {
        const std::int32_t taps = std::min(kTapBlock, span.count - done);
        if (clamp_row(span.first + done + taps - 1) >= end) break;
        add_block(span, done, taps, totals);
        done += taps;
      }
      if (done == 0) return;
      if (done < span.count) continue;
      kernels_.store_row[depth_](totals, size(strip_count_) * size(job_.channels), destination(row));
      done = 0;
      next_row_ = row + 1;
    }
  }

  void add_block(const TapSpan& span, std::int32_t done, std::int32_t taps, float* totals) noexcept {
    const float* rows[kTapBlock];
    for (std::int32_t i = 0; i < taps; ++i) rows[i] = ring_row(clamp_row(span.first + done + i));
    ColumnPassArgs args;
    args.rows = rows;
    args.weights[0] = y_.weights + span.phase * y_.stride + done;
    args.count[0] = taps;
    args.samples = size(strip_count_) * size(job_.channels);
    kernels_.column_block(args, done == 0, totals);
  }

  bool complete(const TapSpan& span, std::int64_t end) const noexcept {
    return clamp_row(span.first + span.count - 1) < end;
  }

  static bool overlap(const TapSpan& a, const TapSpan& b) noexcept {
    return b.first < a.first + a.count && b.first + b.count >= a.first + a.count;
  }

  std::int64_t clamp_row(std::int64_t row) const noexcept {
    return std::clamp<std::int64_t>(row, 0, job_.geometry.y.usable_size - 1);
  }

  float* ring_row(std::int64_t row) const noexcept {
    return work_.ring + (static_cast<std::uint64_t>(row) % work_.ring_rows) * work_.ring_stride;
  }

  void* destination(std::int32_t row) const noexcept {
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
  TapTable x_;
  TapTable y_;
  bool exact_sums_ = false;
  const std::uint8_t* source_ = nullptr;  // pixel (0, 0) of the region
  std::int32_t strip_first_ = 0;
  std::int32_t strip_count_ = 0;
  std::int32_t next_row_ = 0;
  std::int32_t taps_done_[kActiveRows] = {};
};

// The bytes of a request's pixels, for the modes that only copy them.
struct PixelCopy {
  const std::uint8_t* src;  // pixel (0, 0) of the region
  std::uint8_t* dst;        // first destination pixel
  std::size_t pixel;

  explicit PixelCopy(const ResampleJob& job) noexcept : pixel(size(job.channels) * size(job.bits / 8)) {
    const Geometry& geometry = job.geometry;
    const auto pixel_step = static_cast<std::ptrdiff_t>(pixel);
    src = static_cast<const std::uint8_t*>(job.src) +
          static_cast<std::ptrdiff_t>(geometry.y.origin) * job.src_step + geometry.x.origin * pixel_step;
    dst = static_cast<std::uint8_t*>(job.dst) + static_cast<std::ptrdiff_t>(geometry.y.first) * job.dst_step +
          geometry.x.first * pixel_step;
  }
};

template <std::size_t kPixel>
void gather_pixels(const std::uint8_t* src, const std::int32_t* columns, std::int32_t count,
                   std::uint8_t* dst) noexcept {
  for (std::int32_t i = 0; i < count; ++i) {
    std::memcpy(dst + size(i) * kPixel, src + size(columns[i]) * kPixel, kPixel);
  }
}

void resize_nearest(const ResampleJob& job, void* work) noexcept {
  const Geometry& geometry = job.geometry;
  const PixelCopy copy(job);
  auto* columns = Arena(work).take<std::int32_t>(size(geometry.x.count));
  for (std::int32_t i = 0; i < geometry.x.count; ++i) columns[i] = nearest_source(geometry.x, i);

  std::int32_t previous = -1;
  for (std::int32_t i = 0; i < geometry.y.count; ++i) {
    std::uint8_t* to = copy.dst + static_cast<std::ptrdiff_t>(i) * job.dst_step;
    const std::int32_t row = nearest_source(geometry.y, i);
    if (row == previous) {
      std::memcpy(to, to - job.dst_step, size(geometry.x.count) * copy.pixel);
      continue;
    }
    previous = row;
    const std::uint8_t* from = copy.src + static_cast<std::ptrdiff_t>(row) * job.src_step;
    switch (copy.pixel) {
      case 1:
        gather_pixels<1>(from, columns, geometry.x.count, to);
        break;
      case 2:
        gather_pixels<2>(from, columns, geometry.x.count, to);
        break;
      case 3:
        gather_pixels<3>(from, columns, geometry.x.count, to);
        break;
      case 4:
        gather_pixels<4>(from, columns, geometry.x.count, to);
        break;
      case 6:
        gather_pixels<6>(from, columns, geometry.x.count, to);
        break;
      default:
        gather_pixels<8>(from, columns, geometry.x.count, to);
        break;
    }
  }
}

// Factor 1 and shift 0 on an axis: destination and source pixels coincide in every mode.
bool coincides(const AxisGeometry& axis) noexcept {
  const std::int64_t first = std::int64_t{axis.first} - axis.origin;
  return axis.inverse == 1.0 && axis.offset == 0.0 && first >= 0 && first + axis.count <= axis.usable_size;
}

void copy_rows(const ResampleJob& job) noexcept {
  const Geometry& geometry = job.geometry;
  const PixelCopy copy(job);
  const std::uint8_t* from =
      copy.src + static_cast<std::ptrdiff_t>(geometry.y.first - geometry.y.origin) * job.src_step +
      (geometry.x.first - geometry.x.origin) * static_cast<std::ptrdiff_t>(copy.pixel);
  for (std::int32_t i = 0; i < geometry.y.count; ++i) {
    std::memcpy(copy.dst + static_cast<std::ptrdiff_t>(i) * job.dst_step,
                from + static_cast<std::ptrdiff_t>(i) * job.src_step, size(geometry.x.count) * copy.pixel);
  }
}

}  // namespace

std::int64_t work_buffer_bytes(const Geometry& geometry, std::int32_t channels) noexcept {
  Arena arena;
  if (geometry.mode == Mode::kNearest) {
    arena.take<std::int32_t>(static_cast<std::uint64_t>(geometry.x.count));
  } else {
    const Workspace measured(arena, geometry, channels);
    static_cast<void>(measured);
  }
  return static_cast<std::int64_t>(arena.bytes());
}

void resample(const ResampleJob& job, void* work, const Kernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  if (coincides(geometry.x) && coincides(geometry.y)) return copy_rows(job);
  if (geometry.mode == Mode::kNearest) return resize_nearest(job, work);
  FilteredResize(job, work, kernels).run();
}
}  // namespace kyv::resize
