#include "resize/copy/nearest_tables.h"

#include <cstring>

#include "resize/copy/pixel_rows.h"

namespace kyv::resize {
namespace {

constexpr Index kSmallestStep = 60;  // of the largest piece: whole pixels of 6 bytes
constexpr Index kSmallestLane = 16;  // bytes
constexpr Index kNearBytes = 8192;   // of a source row: two of them fit the L1

// Cuts a row of pixels of kPixel bytes into pieces.
template <Index kPixel>
class PieceTable {
 public:
  PieceTable(const std::int32_t* columns, std::int32_t count, std::int32_t src_width,
             const ByteKernels& kernels) noexcept
      : columns_(columns),
        row_bytes_(count * kPixel),
        src_bytes_(src_width * kPixel),
        lane_bytes_(kernels.lane_bytes),
        piece_(lane_bytes_ * kernels.lanes),
        bytes_(std::max(row_bytes_, piece_)) {}

  // Pieces side by side, or else pieces of whole pixels, which need less of the source. Nothing where the
  // most windows do not cover the source bytes of every lane, or leave the source row.
  BytePieces build(const NearestRoom& room) const noexcept {
    Index step = piece_;
    Index windows = windows_needed(step);
    if (windows == 0 && lane_bytes_ == piece_) {
      step = piece_ / kPixel * kPixel;
      windows = windows_needed(step);
    }
    return windows == 0 ? BytePieces() : fill(step, windows, room);
  }

 private:
  Index windows_needed(Index step) const noexcept {
    Index widest = 1;
    for_each_lane(step, [&](Index first, Index end) {
      if (first == end) return;
      const Index across = columns_[(end - 1) / kPixel] - columns_[first / kPixel] + 1;
      widest = std::max(widest, across * kPixel);
    });
    for (Index count = 1; count <= kMostWindows; ++count) {
      const Index covered = count * lane_bytes_;
      if (widest <= covered && covered <= src_bytes_) return count;
    }
    return 0;
  }

  BytePieces fill(Index step, Index windows, const NearestRoom& room) const noexcept {
    constexpr std::uint64_t kRamp = 0x0706050403020100u;
    constexpr std::uint64_t kOnes = 0x0101010101010101u;
    const Index last_base = src_bytes_ - windows * lane_bytes_;
    Index* base = room.bases;
    std::uint8_t* indices = room.indices;
    for_each_lane(step, [&](Index first, Index end) {
      // Whole pixels, one store each: what lies around the lane's bytes, or follows a pixel, is not used.
      std::uint8_t lane[kLargestPiece + 2 * sizeof kRamp] = {};
      const Index begin = first / kPixel;
      *base = first == end ? 0 : std::min(columns_[begin] * kPixel, last_base);
      for (Index i = begin; i * kPixel < end; ++i) {
        const std::uint64_t places = kRamp + static_cast<std::uint64_t>(columns_[i] * kPixel - *base) * kOnes;
        std::memcpy(lane + (i - begin) * kPixel, &places, sizeof places);
      }
      std::copy_n(lane + first % kPixel, lane_bytes_, indices);
      indices += lane_bytes_;
      ++base;
    });
    return {.bases = room.bases,
            .indices = room.indices,
            .count = (indices - room.indices) / piece_,
            .step = step,
            .bytes = bytes_,
            .windows = windows,
            .rows_cached = (columns_[(row_bytes_ - 1) / kPixel] - columns_[0]) * kPixel <= kNearBytes};
  }

  // Calls visit(first, end) with the bytes of the row that each lane makes: fewer than a lane has, or none,
  // where the row is shorter than a piece.
  template <class Visit>
  void for_each_lane(Index step, const Visit& visit) const noexcept {
    const auto visit_piece = [&](Index at) {
      for (Index lane = at; lane < at + piece_; lane += lane_bytes_) {
        visit(std::min(lane, row_bytes_), std::min(lane + lane_bytes_, row_bytes_));
      }
    };
    for (Index at = 0; at + piece_ < bytes_; at += step) visit_piece(at);
    visit_piece(bytes_ - piece_);
  }

  const std::int32_t* columns_;
  Index row_bytes_;
  Index src_bytes_;  // of a row of the region
  Index lane_bytes_;
  Index piece_;
  Index bytes_;
};

}  // namespace

NearestRoom take_nearest_tables(runtime::Arena& arena, const AxisGeometry& axis,
                                std::int32_t channels) noexcept {
  const auto count = static_cast<std::uint64_t>(axis.count);
  const std::uint64_t bytes = count * static_cast<std::uint64_t>(channels) * 2;
  const std::uint64_t pieces = bytes / kSmallestStep + 2;
  NearestRoom room;
  room.columns = arena.take<std::int32_t>(count);
  room.bases = arena.take<Index>(pieces * (kLargestPiece / kSmallestLane));
  room.indices = arena.take<std::uint8_t>(pieces * kLargestPiece);
  return room;
}

NearestTables build_nearest_tables(const NearestRoom& room, const AxisGeometry& axis, Index pixel,
                                   const ByteKernels& kernels) noexcept {
  const NearestSource source_of(axis);
  const std::int32_t count = axis.count;
  for (std::int32_t i = 0; i < count; ++i) {
    // An arena with a buffer gives arrays. NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
    room.columns[i] = source_of(i);
  }

  NearestTables tables{.columns = room.columns,
                       .count = count,
                       .pieces = with_pixel_size(pixel, [&](auto size) noexcept {
                         if (kernels.permute == nullptr) return BytePieces();
                         return PieceTable<size>(room.columns, count, axis.usable_size, kernels).build(room);
                       })};
  if (tables.pieces.windows != 0) return tables;

  const std::int32_t* const end = tables.columns + axis.count;
  tables.followed = std::lower_bound(tables.columns, end - 1, axis.usable_size - 1) - tables.columns;
  const Index lines = (end[-1] - tables.columns[0] + 1) * pixel / kLine + 1;
  tables.prefetch_step = std::clamp<Index>(tables.count / lines, 1, kPrefetchedPixels);
  return tables;
}

}  // namespace kyv::resize
