// Kernels of folded rows: source rows are added up first, as integers, and the sums stand in for them.
//
// What comes of it is within a known error of the defined result. Where that could round either way, the
// defined sums decide.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

// One row of sums from rows of bytes. No sum may exceed 16 bits.
struct FoldArgs {
  const std::uint8_t* const* rows = nullptr;  // that count as a whole
  Index count = 0;                            // of them, at least 1
  // Two rows that count in part, or null for none: they add the sum of sample * 2^shift * part / 2^15,
  // rounded to nearest.
  const std::uint8_t* edges[2] = {};
  std::uint16_t parts[2] = {};
  std::int32_t shift = 0;
  Index samples = 0;  // at least `least_samples`
  Index ahead = 0;    // bytes from what is read of the rows to what is prefetched; 0 for nothing
  std::uint16_t* sums = nullptr;
};

// One destination row: value i is sums[i] * scale. Whole tiles are read: to the end of the last one, sums are
// written memory.
struct FoldedValues {
  const float* sums = nullptr;
  float scale = 1.0f;
  float limit = 1.0f;  // values at least this far from a whole number are doubtful
  Index samples = 0;
  std::uint8_t* dst = nullptr;
};

// The taps of one destination sample.
struct SampleTaps {
  const std::uint8_t* const* rows = nullptr;  // at the sample's channel, by tap
  const float* row_weights = nullptr;
  Index row_count = 0;  // at most kTapBlock
  const float* weights = nullptr;
  Index first = 0;  // source position of the first tap; those outside [0, last] repeat the outermost
  Index count = 0;  // at most kTapBlock
  Index last = 0;
  Index pixel = 0;  // bytes
};

struct FoldKernels {
  Index least_samples = 0;  // of a row; 0 where there are no such kernels
  void (*fold)(const FoldArgs& args) = nullptr;
  // Rounds all samples, lists the places of doubtful ones, and returns how many they are.
  Index (*round)(const FoldedValues& values, Index* doubtful) = nullptr;
  // The sum as it is defined.
  std::uint8_t (*exact)(const SampleTaps& taps) = nullptr;
};

// Values whose rounding is checked together: whole tiles of every set.
inline constexpr Index kFoldedTile = 64;

}  // namespace kyv::resize
