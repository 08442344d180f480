#include "cells/resize_cell.h"

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

std::vector<ResizeCell> read_cells(const std::string& path) {
  const std::vector<TableRow> rows = read_tsv(path);
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

}  // namespace

std::string ResizeCell::name() const {
  char text[160];
  std::snprintf(text, sizeof text, "%s %dx%d %dx%d %s %s", workload.c_str(), src_width, src_height, dst_width,
                dst_height, format.c_str(), filter.c_str());
  return text;
}

bool ResizeCell::is_copy() const { return mode == 1 || (src_width == dst_width && src_height == dst_height); }

bool ResizeCell::is_small() const { return dst_width * dst_height <= 128 * 128 && src_width <= 256; }

std::size_t ResizeCell::pixel_bytes() const { return static_cast<std::size_t>(channels * bits / 8); }

std::size_t ResizeCell::src_bytes() const {
  return static_cast<std::size_t>(src_width) * static_cast<std::size_t>(src_height) * pixel_bytes();
}

std::size_t ResizeCell::dst_bytes() const {
  return static_cast<std::size_t>(dst_width) * static_cast<std::size_t>(dst_height) * pixel_bytes();
}

std::size_t ResizeCell::frame_bytes() const {
  if (frame.width == 0) return src_bytes();
  return static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height) * pixel_bytes();
}

const char* filter_name(int mode) noexcept {
  switch (mode) {
    case 1:
      return "nearest";
    case 2:
      return "linear";
    case 4:
      return "cubic";
    case 8:
      return "box";
    default:
      return "lanczos3";
  }
}

std::vector<ResizeCell> read_standard_cells(const std::string& folder) {
  return read_cells(folder + "/resize.tsv");
}

std::vector<ResizeCell> read_own_cells(const std::string& folder) {
  return read_cells(folder + "/own_cells.tsv");
}

}  // namespace kyv::bench
