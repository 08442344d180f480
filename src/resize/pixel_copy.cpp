#include "resize/pixel_copy.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "resize/weights.h"

namespace kyv::resize {
namespace {

constexpr std::size_t kLine = 64;
constexpr std::size_t kLargestPiece = 64;
constexpr std::size_t kSmallestStep = 60;   // of such a piece: whole pixels of 6 bytes
constexpr std::size_t kSmallestLane = 16;   // bytes
constexpr std::size_t kFetchedPixels = 64;  // pixels between two rounds of prefetching
constexpr std::size_t kNearBytes = 8192;    // of a source row: two of them fit the first cache
constexpr std::size_t kStagedBytes = 4096;  // on their way past the caches
// A destination of this size would push everything else out of the caches, and itself in the end.
constexpr std::size_t kStreamedBytes = std::size_t{1} << 23;

std::size_t size(std::int64_t n) noexcept { return static_cast<std::size_t>(n); }

// The bytes of a request's pixels.
struct PixelRows {
  const std::uint8_t* src;  // pixel (0, 0) of the region
  std::uint8_t* dst;        // first destination pixel
  std::ptrdiff_t src_step;
  std::ptrdiff_t dst_step;
  std::size_t pixel;      // bytes
  std::size_t row_bytes;  // of the destination

  explicit PixelRows(const ResampleJob& job) noexcept
      : src_step(job.src_step), dst_step(job.dst_step), pixel(size(job.channels) * size(job.bits / 8)) {
    const AxisGeometry& x = job.geometry.x;
    const AxisGeometry& y = job.geometry.y;
    const auto pixel_step = static_cast<std::ptrdiff_t>(pixel);
    src = static_cast<const std::uint8_t*>(job.src) + y.origin * src_step + x.origin * pixel_step;
    dst = static_cast<std::uint8_t*>(job.dst) + y.first * dst_step + x.first * pixel_step;
    row_bytes = size(x.count) * pixel;
  }

  std::uint8_t* dst_row(std::int32_t i) const noexcept { return dst + i * dst_step; }
};

bool is_streamed(const PixelRows& rows, std::int32_t count, const ByteKernels& kernels) noexcept {
  return kernels.stream != nullptr && rows.row_bytes >= 4 * kLine &&
         rows.row_bytes >= kStreamedBytes / size(count);
}

// Cuts a row of pixels of kPixel bytes into pieces.
template <std::size_t kPixel>
class PieceTable {
 public:
  PieceTable(const NearestTables& tables, std::int32_t src_width, const ByteKernels& kernels) noexcept
      : columns_(tables.columns),
        row_bytes_(tables.count * kPixel),
        src_bytes_(size(src_width) * kPixel),
        lane_bytes_(size(kernels.lane_bytes)),
        piece_(lane_bytes_ * size(kernels.lanes)),
        bytes_(std::max(row_bytes_, piece_)) {}

  // Pieces side by side, or else pieces of whole pixels, which need less of the source. Nothing where the
  // most windows do not cover the source bytes of every lane, or leave the source row.
  BytePieces build(const NearestStorage& storage) const noexcept {
    std::size_t step = piece_;
    std::int32_t windows = windows_needed(step);
    if (windows == 0 && lane_bytes_ == piece_) {
      step = piece_ / kPixel * kPixel;
      windows = windows_needed(step);
    }
    return windows == 0 ? BytePieces() : fill(step, windows, storage);
  }

 private:
  std::int32_t windows_needed(std::size_t step) const noexcept {
    std::size_t widest = 1;
    for_each_lane(step, [&](std::size_t first, std::size_t end) {
      if (first == end) return;
      const std::int32_t across = columns_[(end - 1) / kPixel] - columns_[first / kPixel] + 1;
      widest = std::max(widest, size(across) * kPixel);
    });
    for (std::int32_t count = 1; count <= kMostWindows; ++count) {
      const std::size_t covered = size(count) * lane_bytes_;
      if (widest <= covered && covered <= src_bytes_) return count;
    }
    return 0;
  }

  BytePieces fill(std::size_t step, std::int32_t windows, const NearestStorage& storage) const noexcept {
    constexpr std::uint64_t kRamp = 0x0706050403020100u;
    constexpr std::uint64_t kOnes = 0x0101010101010101u;
    const std::size_t last_base = src_bytes_ - size(windows) * lane_bytes_;
    Index* base = storage.bases;
    std::uint8_t* indices = storage.indices;
    for_each_lane(step, [&](std::size_t first, std::size_t end) {
      // Whole pixels, one store each: what lies around the lane's bytes, or follows a pixel, is not used.
      std::uint8_t lane[kLargestPiece + 2 * sizeof kRamp] = {};
      const std::size_t begin = first / kPixel;
      *base = first == end ? 0 : static_cast<Index>(std::min(size(columns_[begin]) * kPixel, last_base));
      for (std::size_t i = begin; i * kPixel < end; ++i) {
        const std::uint64_t places = kRamp + (size(columns_[i]) * kPixel - size(*base)) * kOnes;
        std::memcpy(lane + (i - begin) * kPixel, &places, sizeof places);
      }
      std::memcpy(indices, lane + first % kPixel, lane_bytes_);
      indices += lane_bytes_;
      ++base;
    });
    BytePieces pieces;
    pieces.bases = storage.bases;
    pieces.indices = storage.indices;
    pieces.count = static_cast<std::size_t>(indices - storage.indices) / piece_;
    pieces.step = step;
    pieces.bytes = bytes_;
    pieces.windows = windows;
    pieces.rows_cached = size(columns_[(row_bytes_ - 1) / kPixel] - columns_[0]) * kPixel <= kNearBytes;
    return pieces;
  }

  // Calls visit(first, end) with the bytes of the row that each lane makes: fewer than a lane has, or none,
  // where the row is shorter than a piece.
  template <class Visit>
  void for_each_lane(std::size_t step, const Visit& visit) const noexcept {
    const auto visit_piece = [&](std::size_t at) {
      for (std::size_t lane = at; lane < at + piece_; lane += lane_bytes_) {
        visit(std::min(lane, row_bytes_), std::min(lane + lane_bytes_, row_bytes_));
      }
    };
    for (std::size_t at = 0; at + piece_ < bytes_; at += step) visit_piece(at);
    visit_piece(bytes_ - piece_);
  }

  const std::int32_t* columns_;
  std::size_t row_bytes_;
  std::size_t src_bytes_;  // of a row of the region
  std::size_t lane_bytes_;
  std::size_t piece_;
  std::size_t bytes_;
};

// Copies the pixels of `count` columns as kBytes bytes each.
template <std::size_t kPixel, std::size_t kBytes>
void copy_columns(const std::int32_t* columns, std::size_t count, const std::uint8_t* src,
                  std::uint8_t* dst) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    std::memcpy(dst + i * kPixel, src + size(columns[i]) * kPixel, kBytes);
  }
}

// The same for pixels of 1, 2 or 4 bytes, one store for a register full of them. Returns how many were
// copied: less than a register full may be left.
template <std::size_t kPixel>
std::size_t copy_small_columns(const std::int32_t* columns, std::size_t count, const std::uint8_t* src,
                               std::uint8_t* dst) noexcept {
  using Wide = std::conditional_t<kPixel == 2, std::uint16_t, std::uint32_t>;
  using Pixel = std::conditional_t<kPixel == 1, std::uint8_t, Wide>;
  constexpr std::size_t kGroup = sizeof(std::size_t) / kPixel;
  std::size_t i = 0;
  for (; count - i >= kGroup; i += kGroup) {
    std::size_t group = 0;
    for (std::size_t k = 0; k < kGroup; ++k) {
      Pixel pixel;
      std::memcpy(&pixel, src + size(columns[i + k]) * kPixel, kPixel);
      group |= std::size_t{pixel} << (8 * kPixel * k);
    }
    std::memcpy(dst + i * kPixel, &group, sizeof group);
  }
  return i;
}

// Copies pixels [first, end), of which the first goes to `dst`.
template <std::size_t kPixel>
void copy_each(const NearestTables& tables, std::size_t first, std::size_t end, const std::uint8_t* src,
               std::ptrdiff_t ahead, std::uint8_t* dst) noexcept {
  while (first < end) {
    const std::int32_t* const columns = tables.columns + first;
    const std::size_t count = std::min(end - first, kFetchedPixels);
    for (std::size_t i = 0; i < count; i += tables.fetch_step) {
      prefetch<false>(src + ahead + size(columns[i]) * kPixel);
    }
    std::size_t done = 0;
    if constexpr (kPixel == 3 || kPixel == 6) {
      // One access instead of two: the next pixel is written afterwards.
      done = std::clamp(tables.followed, first, first + count) - first;
      copy_columns<kPixel, kPixel / 3 * 4>(columns, done, src, dst);
    } else if constexpr (kPixel < 8) {
      done = copy_small_columns<kPixel>(columns, count, src, dst);
    }
    copy_columns<kPixel, kPixel>(columns + done, count - done, src, dst + done * kPixel);
    first += count;
    dst += count * kPixel;
  }
}

// What depends on the size of a pixel.
struct PixelFunctions {
  decltype(copy_each<1>)* copy;
  BytePieces (*build_pieces)(const NearestTables& tables, const NearestStorage& storage,
                             std::int32_t src_width, const ByteKernels& kernels);
};

template <std::size_t kPixel>
constexpr PixelFunctions pixel_functions() noexcept {
  return {copy_each<kPixel>, [](const NearestTables& tables, const NearestStorage& storage,
                                std::int32_t src_width, const ByteKernels& kernels) {
            return PieceTable<kPixel>(tables, src_width, kernels).build(storage);
          }};
}

const PixelFunctions& functions_of(std::size_t pixel) noexcept {
  static constexpr PixelFunctions by_size[] = {pixel_functions<1>(),
                                               pixel_functions<2>(),
                                               pixel_functions<3>(),
                                               pixel_functions<4>(),
                                               {},
                                               pixel_functions<6>(),
                                               {},
                                               pixel_functions<8>()};
  return by_size[pixel - 1];
}

// One nearest-neighbour request, row by row in units of a piece or a pixel.
class NearestResize {
 public:
  NearestResize(const ResampleJob& job, void* work, const ByteKernels& kernels) noexcept
      : rows_(job), y_(job.geometry.y), kernels_(kernels), copy_(functions_of(rows_.pixel).copy) {
    Arena arena(work);
    const NearestStorage storage = take_nearest_tables(arena, job.geometry.x, job.channels);
    tables_ = build_nearest_tables(storage, job.geometry.x, rows_.pixel, kernels);
    const bool pieces = tables_.pieces.windows != 0;
    units_ = pieces ? tables_.pieces.count : tables_.count;
    unit_ = pieces ? tables_.pieces.step : rows_.pixel;
    streamed_ = is_streamed(rows_, y_.count, kernels);
    staged_ = streamed_ || rows_.row_bytes < size(tables_.pieces.bytes);
  }

  void run() const noexcept {
    const NearestSource source_of(y_);
    std::int32_t source = source_of(0);
    for (std::int32_t end = 0; end < y_.count;) {
      const std::int32_t first = end;
      std::int32_t next = source;
      while (++end < y_.count && (next = source_of(end)) == source) {
      }
      const std::uint8_t* const src = rows_.src + source * rows_.src_step;
      const std::ptrdiff_t ahead = (next - source) * rows_.src_step;
      if (staged_) {
        write_staged(first, end, src, ahead);
      } else {
        write(0, units_, src, ahead, rows_.dst_row(first));
        for (std::int32_t row = first + 1; row < end; ++row) {
          std::memcpy(rows_.dst_row(row), rows_.dst_row(first), rows_.row_bytes);
        }
      }
      source = next;
    }
    if (streamed_) kernels_.stream_fence();
  }

 private:
  // Writes units [first, end) of a row to `dst`, and fetches the same pixels of the source row `ahead` bytes
  // further.
  void write(std::size_t first, std::size_t end, const std::uint8_t* src, std::ptrdiff_t ahead,
             std::uint8_t* dst) const noexcept {
    if (tables_.pieces.windows != 0) return kernels_.permute(tables_.pieces, first, end, src, ahead, dst);
    copy_(tables_, first, end, src, ahead, dst);
  }

  // Writes the equal destination rows [first_row, end_row) by way of a buffer: whole cache lines at a time,
  // for which the last line before the buffered bytes is kept.
  void write_staged(std::int32_t first_row, std::int32_t end_row, const std::uint8_t* src,
                    std::ptrdiff_t ahead) const noexcept {
    alignas(kLine) std::uint8_t buffer[kLine + kStagedBytes + kLargestPiece];
    std::uint8_t* const staged = buffer + kLine;
    const std::size_t chunk = kStagedBytes / unit_;
    for (std::size_t unit = 0; unit < units_; unit += chunk) {
      const std::size_t end = std::min(unit + chunk, units_);
      const std::size_t begin_byte = unit * unit_;
      const std::size_t end_byte = end == units_ ? rows_.row_bytes : end * unit_;
      write(unit, end, src, ahead, staged);
      for (std::int32_t row = first_row; row < end_row; ++row) {
        std::uint8_t* const dst = rows_.dst_row(row);
        const std::size_t from = unit == 0 ? 0 : begin_byte - line_offset(dst + begin_byte);
        const std::size_t to = end == units_ ? end_byte : end_byte - line_offset(dst + end_byte);
        const std::uint8_t* const source = staged - (begin_byte - from);
        if (streamed_) {
          kernels_.stream(source, dst + from, to - from);
        } else {
          std::memcpy(dst + from, source, to - from);
        }
      }
      if (end < units_) std::memcpy(buffer, staged + (end_byte - begin_byte) - kLine, kLine);
    }
  }

  static std::size_t line_offset(const std::uint8_t* p) noexcept {
    return reinterpret_cast<std::uintptr_t>(p) % kLine;
  }

  const PixelRows rows_;
  const AxisGeometry& y_;
  const ByteKernels& kernels_;
  decltype(PixelFunctions::copy) const copy_;
  NearestTables tables_;
  std::size_t units_ = 0;
  std::size_t unit_ = 0;  // bytes
  bool streamed_ = false;
  bool staged_ = false;
};

bool coincides(const AxisGeometry& axis) noexcept {
  const std::int64_t first = std::int64_t{axis.first} - axis.origin;
  return axis.inverse == 1.0 && axis.offset == 0.0 && first >= 0 && first + axis.count <= axis.usable_size;
}

}  // namespace

NearestStorage take_nearest_tables(Arena& arena, const AxisGeometry& axis, std::int32_t channels) noexcept {
  const auto count = static_cast<std::uint64_t>(axis.count);
  const std::uint64_t bytes = count * static_cast<std::uint64_t>(channels) * 2;
  const std::uint64_t pieces = bytes / kSmallestStep + 2;
  NearestStorage storage;
  storage.columns = arena.take<std::int32_t>(count);
  storage.bases = arena.take<Index>(pieces * (kLargestPiece / kSmallestLane));
  storage.indices = arena.take<std::uint8_t>(pieces * kLargestPiece);
  return storage;
}

NearestTables build_nearest_tables(const NearestStorage& storage, const AxisGeometry& axis, std::size_t pixel,
                                   const ByteKernels& kernels) noexcept {
  NearestTables tables;
  tables.columns = storage.columns;
  tables.count = size(axis.count);
  const NearestSource source_of(axis);
  const std::int32_t count = axis.count;
  for (std::int32_t i = 0; i < count; ++i) {
    // An arena with a buffer gives arrays. NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
    storage.columns[i] = source_of(i);
  }

  if (kernels.permute != nullptr) {
    tables.pieces = functions_of(pixel).build_pieces(tables, storage, axis.usable_size, kernels);
    if (tables.pieces.windows != 0) return tables;
  }

  const std::int32_t* const end = tables.columns + axis.count;
  tables.followed = size(std::lower_bound(tables.columns, end - 1, axis.usable_size - 1) - tables.columns);
  const std::uint64_t across = std::uint64_t{pixel} * size(end[-1] - tables.columns[0] + 1);
  const std::uint64_t lines = across / kLine + 1;
  tables.fetch_step =
      static_cast<std::size_t>(std::clamp<std::uint64_t>(tables.count / lines, 1, kFetchedPixels));
  return tables;
}

void resize_nearest(const ResampleJob& job, void* work, const ByteKernels& kernels) noexcept {
  NearestResize(job, work, kernels).run();
}

bool coincides(const Geometry& geometry) noexcept { return coincides(geometry.x) && coincides(geometry.y); }

void copy_pixels(const ResampleJob& job, const ByteKernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  PixelRows rows(job);
  const std::int32_t count = geometry.y.count;
  const std::uint8_t* src = rows.src + (geometry.y.first - geometry.y.origin) * rows.src_step +
                            (geometry.x.first - geometry.x.origin) * static_cast<std::ptrdiff_t>(rows.pixel);
  if (is_streamed(rows, count, kernels)) {
    for (std::int32_t i = 0; i < count; ++i) {
      kernels.stream(src + i * rows.src_step, rows.dst + i * rows.dst_step, rows.row_bytes);
    }
    return kernels.stream_fence();
  }
  const auto gapless = static_cast<std::ptrdiff_t>(rows.row_bytes);
  if (rows.src_step == gapless && rows.dst_step == gapless) {
    std::memcpy(rows.dst, src, rows.row_bytes * size(count));
    return;
  }
  for (std::int32_t i = 0; i < count; ++i) {
    std::memcpy(rows.dst + i * rows.dst_step, src + i * rows.src_step, rows.row_bytes);
  }
}

}  // namespace kyv::resize
