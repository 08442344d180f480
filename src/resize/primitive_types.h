// What the resampling primitives take and answer.
//
// Rectangles are in pixels; steps are in bytes from the start of one row to the start of the next.
// Image pointers point at pixel (0, 0) of the whole image, not of the rectangle.
#pragma once

#include <cstdint>

#include "resize/tuning.h"

namespace kyv::resize {

struct RowPassProbe;

// 0 done, negative refused, positive a warning.
using IppStatus = std::int32_t;

inline constexpr IppStatus kNoError = 0;
inline constexpr IppStatus kNothingToDo = 1;        // the clipped destination span holds no pixel
inline constexpr IppStatus kSourceRoiOutside = 29;  // the source rectangle starts outside the image
inline constexpr IppStatus kFlagIgnored = 46;       // ORed into the status, see kFlagAntialias
inline constexpr IppStatus kSizeError = -6;         // a size, a rectangle or a channel count
inline constexpr IppStatus kNullPointer = -8;
inline constexpr IppStatus kInterpolationError = -22;  // an interpolation word that is not served
inline constexpr IppStatus kFactorError = -23;         // a factor, or one that needs too large a buffer

struct IppiRect {
  std::int32_t x;
  std::int32_t y;
  std::int32_t width;
  std::int32_t height;
};

struct IppiSize {
  std::int32_t width;
  std::int32_t height;
};

// An interpolation word is a Mode in the low 29 bits and at most one flag.
inline constexpr std::uint32_t kModeMask = 0x1FFFFFFFu;
inline constexpr std::uint32_t kFlagAntialias = 1u << 29;     // ignored with modes 1 and 8, else not served
inline constexpr std::uint32_t kFlagSubpixelEdge = 1u << 30;  // not served by the primitives
inline constexpr std::uint32_t kFlagSmoothEdge = 1u << 31;    // not served by the primitives

struct ResizeSqrPixelArguments {
  const void* src = nullptr;
  IppiSize src_size{};
  std::int32_t src_step = 0;
  IppiRect src_roi{};
  void* dst = nullptr;
  std::int32_t dst_step = 0;
  IppiRect dst_roi{};
  double x_factor = 0.0;
  double y_factor = 0.0;
  double x_shift = 0.0;
  double y_shift = 0.0;
  std::uint32_t interpolation = 0;
  void* work = nullptr;
  std::uint64_t work_bytes = 0;  // 0: as many as ippiResizeGetBufSize gives for these rectangles
  Tuning tuning = {};
  RowPassProbe* probe = nullptr;  // for tests and tools
};

}  // namespace kyv::resize
