// The least that the machine must do for a resize.
#pragma once

#include <vector>

#include "cells/resize_cell.h"
#include "common/machine_rates.h"
#include "suite/roofline.h"

namespace kyv::bench {

struct ResizeCost {
  double multiply_adds;  // both passes, every channel; 0 for copies
  double bytes;          // source bytes (for nearest: the cache lines touched) and destination bytes
};
ResizeCost cost_of(const ResizeCell& cell);

Roofline roofline_of(const ResizeCell& cell, double multiply_adds_per_second,
                     const std::vector<CopyRate>& copy_rates);

}  // namespace kyv::bench
