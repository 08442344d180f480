#include "suite/resize_cell.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <stdexcept>

#include "common/csv.h"

namespace kyv::bench {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr double kCacheLine = 64.0;

double number_or_unknown(const std::string& text) { return text == "-" ? kUnknown : std::stod(text); }

void parse_size(const std::string& text, int* width, int* height) {
  if (std::sscanf(text.c_str(), "%dx%d", width, height) != 2) throw std::runtime_error("bad size " + text);
}

ResizeCell parse_cell(const TableRow& row) {
  ResizeCell cell;
  cell.workload = row.at("workload");
  cell.format = row.at("format");
  cell.filter = row.at("filter");
  cell.best_peer = row.at("best_peer");
  cell.mode = std::stoi(row.at("mode"));
  parse_size(row.at("source"), &cell.src_width, &cell.src_height);
  parse_size(row.at("destination"), &cell.dst_width, &cell.dst_height);
  if (std::sscanf(cell.format.c_str(), "%duC%d", &cell.bits, &cell.channels) != 2) {
    throw std::runtime_error("bad format " + cell.format);
  }
  return cell;
}

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

std::string ResizeCell::name() const {
  char text[160];
  std::snprintf(text, sizeof text, "%s %dx%d %dx%d %s %s", workload.c_str(), src_width, src_height, dst_width,
                dst_height, format.c_str(), filter.c_str());
  return text;
}

bool ResizeCell::is_copy() const { return mode == 1 || (src_width == dst_width && src_height == dst_height); }

bool ResizeCell::is_small() const { return dst_width * dst_height <= 128 * 128 && src_width <= 256; }

std::size_t ResizeCell::src_bytes() const {
  return static_cast<std::size_t>(src_width) * static_cast<std::size_t>(src_height) *
         static_cast<std::size_t>(channels * bits / 8);
}

std::size_t ResizeCell::dst_bytes() const {
  return static_cast<std::size_t>(dst_width) * static_cast<std::size_t>(dst_height) *
         static_cast<std::size_t>(channels * bits / 8);
}

std::vector<ResizeCell> read_resize_cells(const std::string& folder) {
  std::vector<TableRow> rows = read_tsv(folder + "/resize.tsv");
  const std::vector<TableRow> own = read_tsv(folder + "/own_cells.tsv");
  rows.insert(rows.end(), own.begin(), own.end());

  std::map<std::string, double> linear_ms;  // zimg's, by workload and format
  for (const TableRow& row : rows) {
    if (row.at("filter") == "linear") {
      linear_ms[row.at("workload") + row.at("format")] = number_or_unknown(row.at("zimg_planar_ms"));
    }
  }
  std::vector<ResizeCell> cells;
  for (const TableRow& row : rows) {
    ResizeCell cell = parse_cell(row);
    const double zimg_ms = number_or_unknown(row.at("zimg_planar_ms"));
    const double reference_ms = std::isnan(zimg_ms) ? linear_ms[cell.workload + cell.format] : zimg_ms;
    cell.best_over_reference = number_or_unknown(row.at("best_ms")) / reference_ms;
    cells.push_back(std::move(cell));
  }
  return cells;
}

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
