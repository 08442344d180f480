// Kernels of doubling: linear enlargement to twice the width and height.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

inline constexpr Index kDoubledSamples = 512;  // of the source, at most, in one call

// A stretch of a destination row, twice as many samples as of the source. A destination pixel lies a quarter
// of a pixel off the centre of its source pixel: it has 9/16 of it, 3/16 of either neighbour on that side,
// and 1/16 of the one across, rounded to nearest, ties to even.
struct DoublingArgs {
  const std::uint8_t* near_row = nullptr;  // the first pixel of the row that counts three times
  const std::uint8_t* far_row = nullptr;   // the same of the row that counts once
  Index samples = 0;                       // whole pixels, at least `least_samples`
  // Pixels before the first and behind the last: 1, or 0 where that is its own neighbour.
  Index left = 0;
  Index right = 0;
  std::uint8_t* dst = nullptr;
};

struct DoublingKernels {
  Index least_samples = 0;                                   // 0 where there are no such kernels
  void (*write[kDepths][3])(const DoublingArgs& args) = {};  // by depth and channels (1, 3, 4), or null
};

}  // namespace kyv::resize
