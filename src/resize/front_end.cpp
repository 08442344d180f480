#include "resize/front_end.h"

#include <algorithm>
#include <cmath>

#include "resize/rounding.h"

namespace kyv::resize {
namespace {

constexpr std::uint32_t kEdgeFlags = kFlagSmoothEdge | kFlagSubpixelEdge;

constexpr Mode mode_of(std::uint32_t word) noexcept { return static_cast<Mode>(word & kModeMask); }

// Counting them is a call where processors are not known to have an instruction for it.
constexpr bool has_at_most_one_bit(std::uint32_t word) noexcept { return (word & (word - 1)) == 0; }

// False for NaN as well.
bool is_positive(double factor) noexcept { return factor > 0.0; }

bool is_served(std::uint32_t word) noexcept {
  const Mode mode = mode_of(word);
  if (mode == Mode::kCubicBlurring || mode == Mode::kCubicRinging || (word & kEdgeFlags) != 0) return false;
  return (word & kFlagAntialias) == 0 || mode == Mode::kNearest || mode == Mode::kSuper;
}

IppStatus check(const ResizeSqrPixelArguments& a) noexcept {
  if (a.src_size.width <= 0 || a.src_size.height <= 0) return kSizeError;
  if (!is_valid(a.src_roi) || !is_valid(a.dst_roi)) return kSizeError;
  if (!is_positive(a.x_factor) || !is_positive(a.y_factor)) return kFactorError;
  if (!is_known_interpolation(a.interpolation)) return kInterpolationError;
  const bool enlarges = a.x_factor > 1.0 || a.y_factor > 1.0;
  if (mode_of(a.interpolation) == Mode::kSuper && enlarges) return kFactorError;
  if (!is_served(a.interpolation)) return kInterpolationError;
  const bool inside = a.src_roi.x < a.src_size.width && a.src_roi.y < a.src_size.height;
  return inside ? kNoError : kSourceRoiOutside;
}

// One axis of the arguments.
struct AxisRequest {
  std::int32_t src_size;
  std::int32_t src_first;
  std::int32_t src_count;
  std::int32_t dst_first;
  std::int32_t dst_count;
  double factor;
  double shift;
};

IppStatus resolve_axis(const AxisRequest& a, AxisGeometry& axis) noexcept {
  const std::int32_t usable = std::min(a.src_size - a.src_first, a.src_count);
  const double origin = a.src_first;
  const double mapped_start = origin * a.factor + a.shift;
  const double mapped_end = (origin + usable) * a.factor + a.shift;
  if (std::isnan(mapped_start) || std::isnan(mapped_end)) return kNothingToDo;

  const double dst_first = a.dst_first;
  const double start = std::max(mapped_start, dst_first);
  const double end = std::min(mapped_end, dst_first + a.dst_count);
  Span span;
  if (!round_span(start, end, 0, span)) return kNothingToDo;

  axis.first = span.first;
  axis.count = span.end - span.first;
  axis.inverse = 1.0 / a.factor;
  axis.offset = -a.shift / a.factor;
  axis.origin = a.src_first;
  axis.usable_size = usable;
  return kNoError;
}

bool is_finite(const AxisGeometry& axis) noexcept {
  return std::isfinite(axis.inverse) && std::isfinite(axis.offset);
}

// The geometry of a resize of one whole rectangle to the other.
AxisGeometry whole_axis(std::int32_t src_count, std::int32_t dst_count) noexcept {
  AxisGeometry axis;
  axis.count = dst_count;
  axis.inverse = 1.0 / (static_cast<double>(dst_count) / static_cast<double>(src_count));
  axis.usable_size = src_count;
  return axis;
}

}  // namespace

bool is_valid(const IppiRect& roi) noexcept {
  return roi.x >= 0 && roi.y >= 0 && roi.width > 0 && roi.height > 0;
}

bool is_known_interpolation(std::uint32_t word) noexcept {
  switch (mode_of(word)) {
    case Mode::kNearest:
    case Mode::kLinear:
    case Mode::kCubic:
    case Mode::kBSpline:
    case Mode::kCubicBlurring:
    case Mode::kCubicRinging:
    case Mode::kSuper:
    case Mode::kLanczos:
      return has_at_most_one_bit(word & ~kModeMask);
  }
  return false;
}

Mode effective_mode(std::uint32_t word, IppiSize src_size) noexcept {
  const std::int32_t smaller = std::min(src_size.width, src_size.height);
  const Mode mode = mode_of(word);
  if (smaller >= 6) return mode;
  const Mode shortened = mode == Mode::kLanczos ? Mode::kCubic : mode;
  const bool is_cubic = shortened == Mode::kCubic || shortened == Mode::kBSpline;
  return smaller < 4 && is_cubic ? Mode::kLinear : shortened;
}

bool round_span(double start, double end, std::uint32_t word, Span& span) noexcept {
  const bool inwards = (word & kEdgeFlags) != 0;
  const double first = std::max(inwards ? ceil_of(start - 1e-10) : start + 0.4999999999, 0.0);
  const double last = std::max(inwards ? floor_of(end + 1e-10) : end + 0.5000000001, 0.0);
  constexpr double kBeyond = 2147483648.0;  // 2^31
  if (!(first < kBeyond) || !(last < kBeyond)) return false;
  // Conversions to integers truncate.
  span = {static_cast<std::int32_t>(first), static_cast<std::int32_t>(last)};
  return span.first < span.end;
}

IppStatus resolve(const ResizeSqrPixelArguments& a, Geometry& geometry) noexcept {
  if (const IppStatus status = check(a); status != kNoError) return status;

  geometry.mode = effective_mode(a.interpolation, a.src_size);
  const AxisRequest x{a.src_size.width, a.src_roi.x, a.src_roi.width, a.dst_roi.x,
                      a.dst_roi.width,  a.x_factor,  a.x_shift};
  const AxisRequest y{a.src_size.height, a.src_roi.y, a.src_roi.height, a.dst_roi.y,
                      a.dst_roi.height,  a.y_factor,  a.y_shift};
  if (const IppStatus status = resolve_axis(x, geometry.x); status != kNoError) return status;
  if (const IppStatus status = resolve_axis(y, geometry.y); status != kNoError) return status;
  return is_finite(geometry.x) && is_finite(geometry.y) ? kNoError : kFactorError;
}

Geometry whole_geometry(const IppiRect& src_roi, const IppiRect& dst_roi,
                        std::uint32_t interpolation) noexcept {
  // Sources too small for the longer filters get shorter ones, which need less.
  const Mode mode = mode_of(interpolation);
  return {.x = whole_axis(src_roi.width, dst_roi.width),
          .y = whole_axis(src_roi.height, dst_roi.height),
          .mode = mode == Mode::kCubicBlurring || mode == Mode::kCubicRinging ? Mode::kCubic : mode};
}

}  // namespace kyv::resize
