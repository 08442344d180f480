// Kernels of the column pass: weighted sums of rows of floats, and the rounding to samples.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

// Row results are read, and totals written, in whole groups: what lies beyond a row's last sample does not
// show in any, but is computed with, so it has to be written memory.
inline constexpr Index kColumnGroup = 16;
inline constexpr Index kColumnSlack = kColumnGroup - 1;

// What is known of every sum of a tap before it is rounded; without a fused multiply-add, the more the
// cheaper.
enum class ColumnSumKind : std::uint8_t {
  kAny,
  kNormal,  // a multiple of the smallest float
  kExact    // a double
};

// One or two destination rows from the row results that they share.
struct ColumnArgs {
  const float* const* rows = nullptr;  // row results by tap position, from the first tap of row 0
  const float* weights[2] = {};
  Index count[2] = {};  // taps, at most kTapBlock; 0 in [1] for a single row
  Index lead = 0;       // first tap of row 1, counted from that of row 0
  Index samples = 0;    // samples of a row
  ColumnSumKind kind = ColumnSumKind::kAny;
  void* dst[2] = {};
};

struct ColumnKernels {
  // Sums, rounds and stores; writes the destination's samples only.
  void (*sum[kDepths])(const ColumnArgs& args) = {};
  // One block of a longer sum (row 0 of `args` only): totals = first ? sum : totals + sum.
  void (*add_block)(const ColumnArgs& args, bool first, float* totals) = nullptr;
  // Rounds and stores finished totals.
  void (*round[kDepths])(const float* totals, Index samples, void* dst) = {};
};

}  // namespace kyv::resize
