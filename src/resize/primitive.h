// The resampling primitives: their types, status values and entry points.
//
// Rectangles are in pixels; steps are in bytes from the start of one row to the start of the next.
// Image pointers point at pixel (0, 0) of the whole image, not of the rectangle.
#pragma once

#include <cstdint>

#include "runtime/dispatch.h"

namespace kyv::resize {

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

// An interpolation word is a mode in the low 29 bits and at most one flag. Modes: 1 nearest neighbour,
// 2 linear, 4 cubic, 5 cubic B-spline, 6 and 7 (two-parameter cubics: accepted by the queries, not served
// by the primitives), 8 super-sampling, 16 Lanczos.
inline constexpr std::uint32_t kModeMask = 0x1FFFFFFFu;
inline constexpr std::uint32_t kFlagAntialias = 1u << 29;     // ignored with modes 1 and 8, else not served
inline constexpr std::uint32_t kFlagSubpixelEdge = 1u << 30;  // not served by the primitives
inline constexpr std::uint32_t kFlagSmoothEdge = 1u << 31;    // not served by the primitives

// The destination rectangle that `src_roi` maps to under destination = source * factor + shift.
// -8 without a result pointer; -6 for an empty rectangle or a negative origin; -23 for a factor that is not
// above 0; -22 for a word outside the rules above; 1 when the rectangle holds no pixel or a corner does not
// fit 32 bits. Nothing is written to `*dst_rect` unless the status is 0.
IppStatus ippiGetResizeRect(IppiRect src_roi, IppiRect* dst_rect, double x_factor, double y_factor,
                            double x_shift, double y_shift, std::uint32_t interpolation) noexcept;

// Bytes of work buffer for a resize of `src_roi` to the whole of `dst_roi`, for either bit depth, whatever
// the size of the source image around its rectangle.
// -8 without a result pointer; -6 for an empty rectangle, a negative origin, a channel count other than
// 1, 3 and 4, or a buffer above 2^31 - 1 bytes; -22 as above.
IppStatus ippiResizeGetBufSize(IppiRect src_roi, IppiRect dst_roi, std::int32_t channels,
                               std::uint32_t interpolation, std::int32_t* bytes) noexcept;

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
  void* work = nullptr;  // as many bytes as ippiResizeGetBufSize gives for these rectangles
};

// Each fills the part of `dst_roi` that the source rectangle covers: destination position u takes its value
// from source position (u - shift) / factor. Nothing outside that part is written, no source pixel outside
// the rectangle is read, nothing is allocated. Any address and any step will do.
// Any status but 0 and 46 leaves the destination untouched. Refusals, in the order of the checks:
//   -8   a null pointer
//   -6   an empty size or rectangle, or a rectangle with a negative origin
//   -23  a factor that is not above 0
//   -22  a word outside the rules above
//   -23  super-sampling with a factor above 1
//   -22  a mode or a flag that is not served
//   29   the source rectangle starts outside the source image
//   1    nothing to do: no whole pixel is covered, or a corner of the span does not fit 32 bits
//   -23  factors (infinitely small ones included) that need more work buffer than the query gives
using ResizeSqrPixel = IppStatus(const ResizeSqrPixelArguments& arguments, const Kernels& kernels) noexcept;

ResizeSqrPixel ippiResizeSqrPixel_8u_C1R;
ResizeSqrPixel ippiResizeSqrPixel_8u_C3R;
ResizeSqrPixel ippiResizeSqrPixel_8u_C4R;
ResizeSqrPixel ippiResizeSqrPixel_16u_C1R;
ResizeSqrPixel ippiResizeSqrPixel_16u_C3R;
ResizeSqrPixel ippiResizeSqrPixel_16u_C4R;

// The primitive of a pixel format: bits 8 or 16, channels 1, 3 or 4.
ResizeSqrPixel* resize_sqr_pixel(std::int32_t bits, std::int32_t channels) noexcept;

}  // namespace kyv::resize
