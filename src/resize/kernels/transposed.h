// Kernels of the row pass whose lanes are rows: a batch of source rows is transposed to vectors, one lane for
// each row, summed with one weight in every lane, and transposed back.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

// What a vector of a transposed batch holds.
enum VectorContent : std::uint8_t {
  kSampleVectors,  // one sample of every row
  kPixelVectors,   // four of them, one pixel of four channels of every row, in an order that suits the set
  kVectorContents
};

// Vectors of a pixel: one, three times `rgb_groups`, or four.
enum PixelSize : std::uint8_t { kOneVector, kRgbVectors, kFourVectors, kPixelSizes };

// Whether every partial sum fits a double exactly; without a fused multiply-add, such sums are cheaper.
enum SumKind : std::uint8_t { kRoundedSums, kExactSums, kSumKinds };

// Vectors that `load` may write beyond those of the samples asked for, and row results that `store` may read
// and write beyond them.
inline constexpr Index kTransposedSlack = 15;

// The destination pixels [first, first + count) of one batch.
struct TransposedArgs {
  const float* samples = nullptr;  // [source pixel from `origin`][vector of the pixel][lane]
  Index origin = 0;
  TapTable table;
  Index first = 0;
  Index count = 0;
  float* out = nullptr;  // [destination pixel from `first`][vector of the pixel][lane]
};

struct TransposedKernels {
  Index lanes = 0;       // rows that a vector holds
  Index rgb_groups = 0;  // vectors' worth of rows in a batch of RGB; at most 16 rows in all

  // Turns `samples` samples of `lanes` rows, from byte `offset` on, into vectors `stride` floats apart. Reads
  // nothing more.
  void (*load[kDepths][kVectorContents])(const std::uint8_t* const* rows, Index offset, Index samples,
                                         float* out, Index stride) = {};
  void (*sum[kPixelSizes][kSumKinds])(const TransposedArgs& args) = {};
  // The reverse of `load` for row results: vectors `stride` floats apart to `lanes` rows, from float `offset`
  // on, in groups of `lanes` samples.
  void (*store[kVectorContents])(const float* in, Index stride, Index samples, float* const* rows,
                                 Index offset) = {};
};

}  // namespace kyv::resize
