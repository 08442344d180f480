// What every primitive decides before it computes a pixel: whether the request is acceptable, which
// interpolation is in effect, which destination pixels are written and where each comes from.
#pragma once

#include <cstdint>

#include "resize/geometry.h"
#include "resize/primitive_types.h"

namespace kyv::resize {

bool is_valid(const IppiRect& roi) noexcept;  // not empty, and the origin not negative

// A Mode with at most one flag.
bool is_known_interpolation(std::uint32_t word) noexcept;

// The mode that resizes a source image of this size: the longer filters give way to shorter ones on sources
// too small for them. `word` is one that the primitives serve.
Mode effective_mode(std::uint32_t word, IppiSize src_size) noexcept;

// A span of whole destination positions.
struct Span {
  std::int32_t first = 0;
  std::int32_t end = 0;  // one past the last
};

// Rounds [start, end) to whole positions: to the nearest, an exact half down at the start and up at the end;
// with an edge flag in `word`, inwards. False, and `span` is of no use, when no position is left, one does
// not fit 32 bits or a bound is not a number.
bool round_span(double start, double end, std::uint32_t word, Span& span) noexcept;

// Runs all checks but those of the pointers and of the work buffer, then clips and maps.
// `geometry` is of use only when the status is 0.
IppStatus resolve(const ResizeSqrPixelArguments& arguments, Geometry& geometry) noexcept;

// The largest of the geometries that `resolve` gives for these rectangles when the factors are the ratios of
// their sizes: none needs more memory.
Geometry whole_geometry(const IppiRect& src_roi, const IppiRect& dst_roi,
                        std::uint32_t interpolation) noexcept;

}  // namespace kyv::resize
