// Kernels of the row pass with running sums: every sample of a transposed batch is added at once to all sums
// that need it, and is not needed again. Pixels of four channels are converted where they are added.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

inline constexpr int kMostRunningSums = 6;  // destination pixels that a source position reaches: Lanczos
inline constexpr int kMostRunningVectors = 4;
inline constexpr Index kRunningBytes = 16;

// The source positions [begin, end) of some vectors of a batch.
struct RunningArgs {
  const float* samples = nullptr;             // of position `begin`, or instead:
  const std::uint8_t* const* rows = nullptr;  // sources of the vectors, from position 0 on
  const float* weights = nullptr;  // of position `begin`: [position][sum], the sum that ends first in front
  Index step = 0;                  // floats from position to position, and from result to result
  Index begin = 0;
  Index end = 0;
  const std::int32_t* ends = nullptr;  // where the sums end, in order, and a number beyond all positions
  float* sums = nullptr;  // [sum][vector][lane]: what was summed before `begin`, then before `end`
  float* out = nullptr;   // results of the sums that end at `end` or before
};

using RunningSums = void(const RunningArgs& args);

struct RunningKernels {
  // By sums and vectors, both less one; null for numbers that the registers do not hold.
  RunningSums* add[kMostRunningSums][kMostRunningVectors] = {};
  // By sums less one, for as many vectors of a pixel of four channels as `add` has at once: of `rows`, from
  // which whole pieces of kRunningBytes are read.
  RunningSums* add_pixels[kDepths][kMostRunningSums] = {};
};

}  // namespace kyv::resize
