// What the front end resolves and the resampler works from.
#pragma once

#include <cstdint>

namespace kyv::resize {

// The interpolations, by their numbers in an interpolation word.
enum class Mode : std::uint32_t {
  kNearest = 1,
  kLinear = 2,
  kCubic = 4,
  kBSpline = 5,
  kCubicBlurring = 6,  // two-parameter cubics: accepted by the queries, not served
  kCubicRinging = 7,
  kSuper = 8,
  kLanczos = 16
};

// One axis of a resolved request. Destination position i maps to i * inverse + offset in the source image.
struct AxisGeometry {
  std::int32_t first = 0;        // first destination index to be written, absolute
  std::int32_t count = 0;        // destination indices to be written, at least 1
  double inverse = 1.0;          // 1 / factor
  double offset = 0.0;           // -shift / factor
  std::int32_t origin = 0;       // the source rectangle's origin
  std::int32_t usable_size = 0;  // source pixels that may be read, counted from the origin, at least 1

  friend bool operator==(const AxisGeometry&, const AxisGeometry&) = default;
};

struct Geometry {
  AxisGeometry x;
  AxisGeometry y;
  Mode mode = Mode::kNearest;  // in effect, after the fall-backs for tiny sources

  // Of the region.
  std::uint64_t source_pixels() const noexcept {
    return static_cast<std::uint64_t>(x.usable_size) * static_cast<std::uint64_t>(y.usable_size);
  }
};

}  // namespace kyv::resize
