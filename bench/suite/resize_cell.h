// One cell of the resize tables: a workload, a pixel format and a filter, and what peers reached on it.
#pragma once

#include <string>
#include <vector>

#include "common/machine_rates.h"
#include "suite/roofline.h"

namespace kyv::bench {

struct ResizeCell {
  std::string workload;
  std::string format;  // "8uC3"
  std::string filter;  // "lanczos3"
  int mode = 0;        // 1, 2, 4, 8, 16
  int src_width = 0;
  int src_height = 0;
  int dst_width = 0;
  int dst_height = 0;
  int channels = 0;
  int bits = 0;
  std::string best_peer;  // "-" where no peer's figure is known
  // How long the best known peer takes, as a multiple of zimg's time for the same cell, or for the linear
  // cell of the same workload and format where zimg has no such filter. NaN where unknown.
  double best_over_reference = 0.0;

  std::string name() const;  // "A 4000x3000 1000x750 8uC3 lanczos3"
  bool is_copy() const;      // nearest, or nothing to resample
  bool is_small() const;     // set-up counts
  // Bytes of a tightly packed image.
  std::size_t src_bytes() const;
  std::size_t dst_bytes() const;
};

// The cells of the two files in `folder`. Throws std::runtime_error for a file that makes no sense.
std::vector<ResizeCell> read_resize_cells(const std::string& folder);

// The least that the machine must do for a cell.
struct ResizeCost {
  double multiply_adds;  // both passes, every channel; 0 for copies
  double bytes;          // source bytes (for nearest: the cache lines touched) and destination bytes
};
ResizeCost cost_of(const ResizeCell& cell);

Roofline roofline_of(const ResizeCell& cell, double multiply_adds_per_second,
                     const std::vector<CopyRate>& copy_rates);

}  // namespace kyv::bench
