// Kernels of the row pass with running sums: every sample of a transposed batch is added at once to all sums
// that need it, and is not needed again. Pixels of four channels are converted where they are added.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

inline constexpr int kMostRunningSums = 6;  // destination pixels that a source position reaches: Lanczos
inline constexpr int kMostRunningVectors = 4;
inline constexpr Index kRunningBytes = 16;               // of a piece of a row
inline constexpr Index kPackedBytes = 4;                 // of a row that `pack` leaves in a lane
inline constexpr Index kPackedSlack = kPackedBytes - 1;  // bytes that `add` reads beyond packed ones

// Where the samples of some vectors are.
enum RunningSource : std::uint8_t {
  kStoredFloats,  // one vector of floats after the other
  kPackedGrey,    // what `pack` made of several groups of rows
  kPackedRgb,     // what it made of one group; a pixel is three vectors of it
  kRgbaRows,      // in the rows; a vector has the four channels of every fourth one
  kRunningSources
};

// The source positions [begin, end) of some vectors of a batch.
struct RunningArgs {
  const float* samples = nullptr;             // stored: of position `begin`
  const std::uint8_t* packed = nullptr;       // packed: the first lanes,
  Index packed_step = 0;                      // bytes from a lane to its next samples,
  Index packed_sample = 0;                    // number of the first one of position `begin`
  const std::uint8_t* const* rows = nullptr;  // in the rows: those of the vectors, from position 0 on,
  Index ahead = 0;                            // bytes from what is read to what is prefetched
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
  // By sums less one, for as many vectors of a pixel as `add` has at once; null for stored floats. Of rows
  // whole pieces of kRunningBytes are read, counted from position 0.
  RunningSums* add_bytes[kRunningSources][kDepths][kMostRunningSums] = {};
  // Transposes pieces of kRunningBytes of as many rows as a vector has lanes, from byte `offset` on: a vector
  // has kPackedBytes of each row, and `step` bytes further the next ones. Prefetches the rows `ahead` bytes
  // further.
  void (*pack)(const std::uint8_t* const* rows, Index offset, Index pieces, std::uint8_t* out, Index step,
               Index ahead) = nullptr;
};

}  // namespace kyv::resize
