// What one instruction set gives to the resize service: the kernels of each stage.
#pragma once

#include "resize/kernels/bytes.h"
#include "resize/kernels/columns.h"
#include "resize/kernels/doubling.h"
#include "resize/kernels/folds.h"
#include "resize/kernels/means.h"
#include "resize/kernels/permuted.h"
#include "resize/kernels/running.h"
#include "resize/kernels/shuffled.h"
#include "resize/kernels/tents.h"
#include "resize/kernels/transposed.h"

namespace kyv::resize {

inline constexpr Index kLanczosSlack = 7;  // weights that may be written beyond those asked for

// Filtered resizing whose sums are whole numbers of few bits, by factors that are powers of two.
struct IntegerKernels {
  MeanKernels means;
  DoublingKernels doubling;
  TentKernels tents;
};

struct Kernels {
  TransposedKernels transposed;
  RunningKernels running;    // a set may have none
  PermutedKernels permuted;  // a set may have none
  ShuffledKernels shuffled;  // a set may have none
  ColumnKernels columns;
  FoldKernels folds;        // a set may have none
  IntegerKernels integers;  // a set may have none
  ByteKernels bytes;
  // Unnormalised Lanczos weights of the positions first + 0 .. first + count - 1, seen from `centre`, at
  // distances times `scale`.
  void (*lanczos)(double centre, double first, double scale, Index count, double* out) = nullptr;
};

}  // namespace kyv::resize
