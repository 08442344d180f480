// The resampling primitives: their entry points.
#pragma once

#include "resize/primitive_types.h"
#include "runtime/dispatch.h"

namespace kyv::resize {

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
