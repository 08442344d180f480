// Destination pixels that cover whole source pixels, a power of two of them.
#pragma once

#include "resize/geometry.h"
#include "resize/kernels/taps.h"
#include "resize/rounding.h"

namespace kyv::resize {

// The blocks along one axis, if they are whole and lie within the region.
struct BlockAxis {
  Index first = -1;  // source position of the first one; below 0 where they are not
  int shift = 0;     // 2^shift positions each
};

inline BlockAxis find_blocks(const AxisGeometry& axis, int most_shift) noexcept {
  for (int shift = 0; shift <= most_shift; ++shift) {
    if (axis.inverse != 1 << shift) continue;
    const double first = axis.first * axis.inverse + axis.offset - axis.origin;
    const double end = first + axis.count * axis.inverse;
    // Spans begin at most half a pixel before what the source covers: `first` is hardly below 0.
    if (axis.offset != floor_of(axis.offset) || !(end <= axis.usable_size)) return {};
    return {static_cast<Index>(first), shift};
  }
  return {};
}

}  // namespace kyv::resize
