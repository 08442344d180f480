#include "resize/copy/nearest.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "resize/copy/pixel_rows.h"

namespace kyv::resize {
namespace {

constexpr Index kStagedBytes = 4096;  // on their way past the caches

// Copies the pixels of `count` columns as kBytes bytes each; with kPrefetches also prefetches what lies
// `ahead` bytes beyond each. Unrolled, because how long a loop this short takes depends on where it lies in
// memory.
template <bool kPrefetches, Index kPixel, Index kBytes = kPixel>
void copy_columns(const std::int32_t* columns, Index count, const std::uint8_t* src, Index ahead,
                  std::uint8_t* dst) noexcept {
#pragma GCC unroll 4
  for (Index i = 0; i < count; ++i) {
    const std::uint8_t* const from = src + columns[i] * kPixel;
    if constexpr (kPrefetches) prefetch<false>(from + ahead);
    std::memcpy(dst + i * kPixel, from, kBytes);
  }
}

// The same for pixels of 1, 2 or 4 bytes, one store for a register full of them. Returns how many were
// copied: less than a register full may be left.
template <bool kPrefetches, Index kPixel>
Index copy_small_columns(const std::int32_t* columns, Index count, const std::uint8_t* src, Index ahead,
                         std::uint8_t* dst) noexcept {
  using Wide = std::conditional_t<kPixel == 2, std::uint16_t, std::uint32_t>;
  using Pixel = std::conditional_t<kPixel == 1, std::uint8_t, Wide>;
  constexpr Index kGroup = sizeof(Index) / kPixel;
  const Index whole = count & -kGroup;
  for (Index i = 0; i < whole; i += kGroup) {
    std::size_t group = 0;
    for (Index k = 0; k < kGroup; ++k) {
      Pixel pixel;
      const std::uint8_t* const from = src + columns[i + k] * kPixel;
      if constexpr (kPrefetches) prefetch<false>(from + ahead);
      std::memcpy(&pixel, from, kPixel);
      group |= std::size_t{pixel} << (8 * kPixel * k);
    }
    std::memcpy(dst + i * kPixel, &group, sizeof group);
  }
  return whole;
}

// Copies the pixels of `count` columns, the first `followed` of which have a pixel after them on both sides.
template <bool kPrefetches, Index kPixel>
void copy_pixels(const std::int32_t* columns, Index count, Index followed, const std::uint8_t* src,
                 Index ahead, std::uint8_t* dst) noexcept {
  Index done = 0;
  if constexpr (kPixel == 3 || kPixel == 6) {
    // One access instead of two: the next pixel is written afterwards.
    done = followed;
    copy_columns<kPrefetches, kPixel, kPixel / 3 * 4>(columns, done, src, ahead, dst);
  } else if constexpr (kPixel < 8) {
    done = copy_small_columns<kPrefetches, kPixel>(columns, count, src, ahead, dst);
  }
  copy_columns<kPrefetches, kPixel>(columns + done, count - done, src, ahead, dst + done * kPixel);
}

// Copies pixels [first, end), of which the first goes to `dst`.
template <Index kPixel>
void copy_each(const NearestTables& tables, Index first, Index end, const std::uint8_t* src, Index ahead,
               std::uint8_t* dst) noexcept {
  const auto followed = [&](Index from, Index to) { return std::clamp(tables.followed, from, to) - from; };
  // Each pixel has a cache line of its own: there are as many addresses to prefetch as to copy from.
  if (tables.prefetches && tables.prefetch_step == 1) {
    const std::int32_t* const columns = tables.columns + first;
    return copy_pixels<true, kPixel>(columns, end - first, followed(first, end), src, ahead, dst);
  }
  while (first < end) {
    const std::int32_t* const columns = tables.columns + first;
    const Index count = std::min(end - first, kPrefetchedPixels);
    for (Index i = 0; i < count && tables.prefetches; i += tables.prefetch_step) {
      prefetch<false>(src + ahead + columns[i] * kPixel);
    }
    copy_pixels<false, kPixel>(columns, count, followed(first, first + count), src, ahead, dst);
    first += count;
    dst += count * kPixel;
  }
}

// One nearest-neighbour request, row by row in units of a piece or a pixel.
class NearestResize {
 public:
  NearestResize(const ResizeJob& job, const NearestRoom& room, const ByteKernels& kernels) noexcept
      : rows_(job),
        y_(job.geometry.y),
        kernels_(kernels),
        copy_(with_pixel_size(rows_.pixel, [](auto size) noexcept { return &copy_each<size>; })),
        tables_(build_nearest_tables(room, job.geometry.x, rows_.pixel, kernels)) {
    const bool pieces = tables_.pieces.windows != 0;
    units_ = pieces ? tables_.pieces.count : tables_.count;
    unit_ = pieces ? tables_.pieces.step : rows_.pixel;
    tables_.prefetches = job.source_bytes() > job.tuning.prefetched_source;
    streamed_ = rows_.are_streamed(kernels);
    short_ = rows_.row_bytes < tables_.pieces.bytes;
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
      const Index ahead = (next - source) * rows_.src_step;
      if (short_) {
        write_short(first, end, src, ahead);
      } else if (streamed_) {
        write_streamed(first, end, src, ahead);
      } else {
        write(0, units_, src, ahead, rows_.dst_row(first));
        for (std::int32_t row = first + 1; row < end; ++row) {
          // std::copy_n moves, which takes longer on 32-bit Linux.
          std::memcpy(rows_.dst_row(row), rows_.dst_row(first), static_cast<std::size_t>(rows_.row_bytes));
        }
      }
      source = next;
    }
    if (streamed_) kernels_.stream_fence();
  }

 private:
  // Writes units [first, end) of a row to `dst`, and prefetches the same pixels of the source row `ahead`
  // bytes further.
  void write(Index first, Index end, const std::uint8_t* src, Index ahead, std::uint8_t* dst) const noexcept {
    if (tables_.pieces.windows != 0) return kernels_.permute(tables_.pieces, first, end, src, ahead, dst);
    copy_(tables_, first, end, src, ahead, dst);
  }

  // Writes the equal destination rows [first_row, end_row), shorter than a piece, by way of a buffer.
  void write_short(std::int32_t first_row, std::int32_t end_row, const std::uint8_t* src,
                   Index ahead) const noexcept {
    alignas(kLine) std::uint8_t piece[kLargestPiece];
    write(0, units_, src, ahead, piece);
    for (std::int32_t row = first_row; row < end_row; ++row) {
      std::memcpy(rows_.dst_row(row), piece, static_cast<std::size_t>(rows_.row_bytes));
    }
  }

  // Writes the equal destination rows [first_row, end_row) past the caches by way of a buffer: whole cache
  // lines at a time, for which the last line before the buffered bytes is kept.
  void write_streamed(std::int32_t first_row, std::int32_t end_row, const std::uint8_t* src,
                      Index ahead) const noexcept {
    alignas(kLine) std::uint8_t buffer[kLine + kStagedBytes + kLargestPiece];
    std::uint8_t* const staged = buffer + kLine;
    const Index chunk = kStagedBytes / unit_;
    for (Index unit = 0; unit < units_; unit += chunk) {
      const Index end = std::min(unit + chunk, units_);
      const Index begin_byte = unit * unit_;
      const Index end_byte = end == units_ ? rows_.row_bytes : end * unit_;
      write(unit, end, src, ahead, staged);
      for (std::int32_t row = first_row; row < end_row; ++row) {
        std::uint8_t* const dst = rows_.dst_row(row);
        const Index from = unit == 0 ? 0 : begin_byte - line_offset(dst + begin_byte);
        const Index to = end == units_ ? end_byte : end_byte - line_offset(dst + end_byte);
        kernels_.stream(staged - (begin_byte - from), dst + from, to - from);
      }
      if (end < units_) std::memcpy(buffer, staged + (end_byte - begin_byte) - kLine, kLine);
    }
  }

  static Index line_offset(const std::uint8_t* p) noexcept {
    return static_cast<Index>(reinterpret_cast<std::uintptr_t>(p) % runtime::kCacheLine);
  }

  const PixelRows rows_;
  const AxisGeometry& y_;
  const ByteKernels& kernels_;
  decltype(copy_each<1>)* const copy_;
  NearestTables tables_;
  Index units_ = 0;
  Index unit_ = 0;  // bytes
  bool streamed_ = false;
  bool short_ = false;
};

}  // namespace

void resize_nearest(const ResizeJob& job, const NearestRoom& room, const ByteKernels& kernels) noexcept {
  NearestResize(job, room, kernels).run();
}

}  // namespace kyv::resize
