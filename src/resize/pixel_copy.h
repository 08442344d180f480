// The resizes that only copy pixels: nearest neighbour, and any mode where source and destination coincide.
#pragma once

#include <cstddef>
#include <cstdint>

#include "resize/arena.h"
#include "resize/geometry.h"
#include "resize/kernels/kernels.h"
#include "resize/resampler.h"

namespace kyv::resize {

// The arrays of a nearest-neighbour resize in the work buffer.
struct NearestStorage {
  std::int32_t* columns = nullptr;
  Index* bases = nullptr;
  std::uint8_t* indices = nullptr;
};

// Room for a row of `axis.count` pixels of either bit depth and for any kernel set.
NearestStorage take_nearest_tables(Arena& arena, const AxisGeometry& axis, std::int32_t channels) noexcept;

// What is looked up for every row. `pixel` below is in bytes.
struct NearestTables {
  const std::int32_t* columns = nullptr;  // source pixel of each destination pixel
  std::size_t count = 0;
  BytePieces pieces;           // without windows where the row is copied pixel by pixel, as follows
  std::size_t followed = 0;    // leading destination pixels that have a pixel after them on both sides
  std::size_t fetch_step = 1;  // destination pixels that a cache line of the source gives
};

NearestTables build_nearest_tables(const NearestStorage& storage, const AxisGeometry& axis, std::size_t pixel,
                                   const ByteKernels& kernels) noexcept;

void resize_nearest(const ResampleJob& job, void* work, const ByteKernels& kernels) noexcept;

// Whether the destination is a copy of source pixels in every mode: factor 1 and shift 0 on both axes.
bool coincides(const Geometry& geometry) noexcept;

void copy_pixels(const ResampleJob& job, const ByteKernels& kernels) noexcept;

}  // namespace kyv::resize
