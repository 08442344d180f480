// Kernels of block means: super-sampling whose boxes are blocks of whole pixels, powers of two wide and high.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

// The widest and the highest blocks are 2^this pixels: sums of 8-bit samples fit 16 bits, of 16-bit samples
// floats.
inline constexpr int kMostMeanShift = 2;
inline constexpr int kMostMeanRowShift = 4;

// A destination row, or part of one. Each sample is the mean of a block, rounded to nearest, ties to even.
struct MeanArgs {
  const std::uint8_t* src = nullptr;  // the first block
  Index src_step = 0;                 // bytes
  Index rows = 0;                     // of a block: a power of two
  int shift = 1;                      // the pixels of a block are 2^shift, at least two
  Index samples = 0;                  // of the destination; at least `least_samples`
  Index ahead = 0;                    // bytes from what is read of the rows to what is prefetched; 0: nothing
  std::uint8_t* dst = nullptr;
};

struct MeanKernels {
  Index least_samples = 0;  // 0 where there are no such kernels
  // By depth, channels (1, 3, 4) and width: blocks are 2^width pixels wide. Null where other ways are faster.
  void (*mean[kDepths][3][kMostMeanShift + 1])(const MeanArgs& args) = {};
};

}  // namespace kyv::resize
