// Kernels of tents: linear reduction by a power of two.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

inline constexpr int kMostTentShift = 3;     // 8 : 1
inline constexpr Index kTentSamples = 1024;  // of the source, at most, in one call

// A stretch of a destination row at 2^shift : 1. A destination pixel is the sum of the block of source pixels
// that it covers and of half a block on either side, with weights 1, 3, 5 .. 5, 3, 1 along either axis,
// rounded to nearest, ties to even.
struct TentArgs {
  const std::uint8_t* const* rows = nullptr;  // 2 * 2^shift, at the first pixel of the first block
  Index samples = 0;                          // of the destination: whole pixels, at least `least_samples`
  // Source pixels before the first block and behind the last, up to half a block. The outermost stands in for
  // those that are missing.
  Index left = 0;
  Index right = 0;
  Index ahead = 0;  // bytes from what is read of a row to what is prefetched; 0: nothing
  std::uint8_t* dst = nullptr;
};

struct TentKernels {
  Index least_samples = 0;  // 0 where there are no such kernels
  // By depth, channels (1, 3, 4) and shift, from 1 on. Null where other ways are faster.
  void (*write[kDepths][3][kMostTentShift])(const TentArgs& args) = {};
};

}  // namespace kyv::resize
