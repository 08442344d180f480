// PSF to OTF and back over a stack of planes.
#pragma once

#include <cstdint>

#include "psfotf/precision.h"
#include "runtime/dispatch.h"

namespace kyv::psfotf {

// Four caller-owned arrays of planes * width * height doubles; plane p, column x, row y at index
// p*width*height + y*width + x. Source and destination may be the same arrays, but not overlap otherwise.
struct PlaneStack {
  const double* src_real;
  const double* src_imag;
  double* dst_real;
  double* dst_imag;
  std::int32_t width;
  std::int32_t height;
  std::int32_t planes;
};

// Transforms plane after plane with the lengths {width, height}: a plane is seen as `width` runs of `height`
// contiguous values, which for squares is its textbook transform. Single precision rounds every value to a
// float first. The backward scale is 1.0f / (float)(width * height) in both precisions.
//
// 0 done (also for an empty stack or plane); anything else failed, with nothing written: the sizes do not fit
// or there is no memory to work in. A plane whose transform cannot be planned is copied out untransformed.
int convert_planes(const PlaneStack& stack, Direction direction, Precision precision,
                   const runtime::KernelSet& kernels);

}  // namespace kyv::psfotf
