#include "suite/resize_cost.h"

#include <algorithm>
#include <cmath>

namespace kyv::bench {
namespace {

constexpr double kCacheLine = 64.0;

// Taps of destination index i over one axis; positions beyond the edge are taps too.
int taps_at(int i, double scale, int mode) {
  if (mode == 8) return static_cast<int>(std::ceil((i + 1) * scale - 1e-9) - std::floor(i * scale + 1e-9));
  const double base = mode == 2 ? 1.0 : mode == 4 ? 2.0 : 3.0;
  const double radius = base * std::max(scale, 1.0);
  const double centre = (i + 0.5) * scale - 0.5;
  return static_cast<int>(std::floor(centre + radius) - std::ceil(centre - radius)) + 1;
}

double taps_over_axis(int src_size, int dst_size, int mode) {
  const double scale = static_cast<double>(src_size) / dst_size;
  double taps = 0.0;
  for (int i = 0; i < dst_size; ++i) taps += taps_at(i, scale, mode);
  return taps;
}

int nearest_source(int i, int src_size, int dst_size) {
  return static_cast<int>((i + 0.5) * src_size / dst_size);
}

// Bytes of the cache lines that a nearest-neighbour resize reads: rows are aligned alike on average.
double nearest_bytes_read(const ResizeCell& cell) {
  const int pixel_bytes = cell.channels * cell.bits / 8;
  double lines = 0.0;
  long last_line = -1;
  for (int x = 0; x < cell.dst_width; ++x) {
    const long first = static_cast<long>(nearest_source(x, cell.src_width, cell.dst_width)) * pixel_bytes;
    for (long line = first / 64; line <= (first + pixel_bytes - 1) / 64; ++line) {
      lines += line > last_line ? 1.0 : 0.0;
      last_line = std::max(last_line, line);
    }
  }
  const int rows = std::min(cell.src_height, cell.dst_height);
  return lines * kCacheLine * rows;
}

}  // namespace

ResizeCost cost_of(const ResizeCell& cell) {
  const double written = static_cast<double>(cell.dst_bytes());
  if (cell.mode == 1) return {0.0, nearest_bytes_read(cell) + written};
  const double read = static_cast<double>(cell.src_bytes());
  if (cell.is_copy()) return {0.0, read + written};
  const double row_pass = taps_over_axis(cell.src_width, cell.dst_width, cell.mode) * cell.src_height;
  const double column_pass = taps_over_axis(cell.src_height, cell.dst_height, cell.mode) * cell.dst_width;
  return {(row_pass + column_pass) * cell.channels, read + written};
}

Roofline roofline_of(const ResizeCell& cell, double multiply_adds_per_second,
                     const std::vector<CopyRate>& copy_rates) {
  const ResizeCost cost = cost_of(cell);
  return {cost.multiply_adds / multiply_adds_per_second, cost.bytes / copy_rate_for(copy_rates, cost.bytes)};
}

}  // namespace kyv::bench
