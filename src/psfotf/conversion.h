// PSF to OTF and back over a stack of planes.
#pragma once

#include <cstdint>

#include "runtime/dispatch.h"

namespace kyv::psfotf {

enum class Precision { kSingle, kDouble };
enum class Direction { kForward, kBackward };

// Four caller-owned arrays of planes * width * height doubles; plane p, column x, row y at index
// p*width*height + y*width + x. Source and destination may be the same arrays.
struct PlaneStack {
  const double* src_real;
  const double* src_imag;
  double* dst_real;
  double* dst_imag;
  std::int32_t width;
  std::int32_t height;
  std::int32_t planes;
};

// 0 done (also for an empty stack or plane); anything else failed, with nothing written.
int convert_planes(const PlaneStack& stack, Direction direction, Precision precision,
                   const runtime::KernelSet& kernels) noexcept;

}  // namespace kyv::psfotf
