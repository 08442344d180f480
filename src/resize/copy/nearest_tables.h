// What nearest neighbour looks up for every row.
#pragma once

#include <algorithm>

#include "resize/geometry.h"
#include "resize/kernels/bytes.h"
#include "runtime/arena.h"

namespace kyv::resize {

inline constexpr Index kLargestPiece = 64;      // bytes
inline constexpr Index kPrefetchedPixels = 64;  // between two rounds of prefetching

// Nearest neighbour: the source pixel of destination index `axis.first + i`, counted from the origin.
class NearestSource {
 public:
  explicit NearestSource(const AxisGeometry& axis) noexcept
      : first_(axis.first),
        inverse_(axis.inverse),
        offset_(axis.offset),
        origin_(axis.origin),
        last_(static_cast<double>(axis.usable_size) - 1.0) {}

  std::int32_t operator()(std::int32_t i) const noexcept {
    const double index = first_ + static_cast<double>(i);
    const double position = (index + 0.5) * inverse_ + offset_ - origin_;
    return static_cast<std::int32_t>(std::min(std::max(0.0, position), last_));
  }

 private:
  double first_;
  double inverse_;
  double offset_;
  double origin_;
  double last_;
};

// Arrays in the work buffer.
struct NearestRoom {
  std::int32_t* columns = nullptr;
  Index* bases = nullptr;
  std::uint8_t* indices = nullptr;
};

// Room for a row of `axis.count` pixels of either bit depth and for any kernel set.
NearestRoom take_nearest_tables(runtime::Arena& arena, const AxisGeometry& axis,
                                std::int32_t channels) noexcept;

struct NearestTables {
  const std::int32_t* columns = nullptr;  // source pixel of each destination pixel
  Index count = 0;
  BytePieces pieces;        // without windows where the row is copied pixel by pixel, as follows
  Index followed = 0;       // leading destination pixels that have a pixel after them on both sides
  Index prefetch_step = 1;  // destination pixels that a cache line of the source gives
  bool prefetches = false;  // what lies in the L2 is there as soon without
};

// `pixel` is in bytes.
NearestTables build_nearest_tables(const NearestRoom& room, const AxisGeometry& axis, Index pixel,
                                   const ByteKernels& kernels) noexcept;

}  // namespace kyv::resize
