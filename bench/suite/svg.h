// Bar charts as SVG files.
#pragma once

#include <string>
#include <vector>

namespace kyv::bench {

struct Bar {
  std::string label;
  double value;  // NaN leaves the place empty
  int group;     // chooses the colour: 0, 1, 2, ...
};

struct BarChart {
  std::string title;
  std::string unit;
  std::vector<std::string> groups;  // legend
  std::vector<Bar> bars;            // drawn from top to bottom
  std::vector<double> marks;        // vertical reference lines
  bool logarithmic = false;         // for values above 0 only
};

// Throws std::runtime_error when the file cannot be written.
void write_svg(const BarChart& chart, const std::string& path);

}  // namespace kyv::bench
