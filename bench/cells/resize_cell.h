// One cell of the resize tables: a workload, a pixel format and a filter, and what peers reached on it.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace kyv::bench {

// The picture around a region, and where the region lies in it. No width: the whole picture is resized.
struct Frame {
  int width = 0;
  int height = 0;
  int x = 0;
  int y = 0;
};

struct ResizeCell {
  std::string workload;
  std::string format;  // "8uC3"
  std::string filter;  // "lanczos3"
  int mode = 0;        // 1, 2, 4, 8, 16
  int src_width = 0;   // of what is resized: the region, where there is a frame
  int src_height = 0;
  int dst_width = 0;
  int dst_height = 0;
  int channels = 0;
  int bits = 0;
  Frame frame;
  std::string best_peer = "-";  // "-" where no peer's figure is known
  // How long the best known peer takes, as a multiple of zimg's time for the same cell, or for the linear
  // cell of the same workload and format where zimg has no such filter. NaN where unknown.
  double best_over_reference = std::numeric_limits<double>::quiet_NaN();

  std::string name() const;  // "A 4000x3000 1000x750 8uC3 lanczos3"
  bool is_copy() const;      // nearest, or nothing to resample
  bool is_small() const;     // set-up counts
  // Bytes of tightly packed images.
  std::size_t pixel_bytes() const;
  std::size_t src_bytes() const;
  std::size_t dst_bytes() const;
  std::size_t frame_bytes() const;  // as src_bytes where there is no frame
};

// The filter's name in cells: "nearest", "linear", "cubic", "box", "lanczos3".
const char* filter_name(int mode) noexcept;

// The cells of the two files in `folder`: the standard ones, then our own. Throws std::runtime_error for a
// file that makes no sense.
std::vector<ResizeCell> read_standard_cells(const std::string& folder);
std::vector<ResizeCell> read_own_cells(const std::string& folder);

}  // namespace kyv::bench
