#include "suite/svg.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <iomanip>
#include <stdexcept>

#include "common/csv.h"

namespace kyv::bench {
namespace {

constexpr int kLabelWidth = 250;
constexpr int kPlotWidth = 620;
constexpr int kValueWidth = 70;
constexpr int kRowHeight = 13;
constexpr int kTop = 62;

const char* colour_of(int group) {
  constexpr const char* kColours[] = {"#4878a8", "#d1793b", "#5a9b5a", "#b04a4a", "#8068a8", "#7a7a7a"};
  return kColours[static_cast<std::size_t>(group) % std::size(kColours)];
}

// Maps values to horizontal places.
class Axis {
 public:
  explicit Axis(const BarChart& chart) : logarithmic_(chart.logarithmic) {
    low_ = logarithmic_ ? 1e300 : 0.0;
    high_ = logarithmic_ ? 1e-300 : 1e-9;
    for (const Bar& bar : chart.bars) include(bar.value);
    for (const double mark : chart.marks) include(mark);
    if (logarithmic_) {
      low_ = std::pow(10.0, std::floor(std::log10(low_)));
      high_ = std::pow(10.0, std::ceil(std::log10(high_) + 1e-9));
    }
  }

  double place(double value) const {
    const double t = logarithmic_ ? std::log(value / low_) / std::log(high_ / low_) : value / high_;
    return kLabelWidth + kPlotWidth * std::clamp(t, 0.0, 1.0);
  }

  std::vector<double> ticks() const {
    std::vector<double> ticks;
    if (logarithmic_) {
      for (double tick = low_; tick <= high_ * 1.001; tick *= 10.0) ticks.push_back(tick);
      return ticks;
    }
    const double rough = high_ / 8.0;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    const double step = power * (rough < 2.0 * power ? 2.0 : rough < 5.0 * power ? 5.0 : 10.0);
    for (double tick = 0.0; tick <= high_; tick += step) ticks.push_back(tick);
    return ticks;
  }

 private:
  void include(double value) {
    if (std::isnan(value)) return;
    low_ = std::min(low_, value);
    high_ = std::max(high_, value);
  }

  bool logarithmic_;
  double low_;
  double high_;
};

void vertical_line(std::ostream& svg, double x, double bottom, const char* colour) {
  svg << "<line x1='" << x << "' x2='" << x << "' y1='" << kTop - 4 << "' y2='" << bottom << "' stroke='"
      << colour << "'/>\n";
}

}  // namespace

void write_svg(const BarChart& chart, const std::string& path) {
  const Axis axis(chart);
  const double bottom = kTop + kRowHeight * static_cast<double>(chart.bars.size());
  std::ofstream svg(path);
  svg << std::fixed << std::setprecision(1);
  svg << "<svg xmlns='http://www.w3.org/2000/svg' width='" << kLabelWidth + kPlotWidth + kValueWidth
      << "' height='" << bottom + 12 << "' font-family='sans-serif' font-size='10'>\n"
      << "<rect width='100%' height='100%' fill='white'/>\n"
      << "<text x='10' y='18' font-size='14'>" << chart.title << " (" << chart.unit << ")</text>\n";
  double legend = 10.0;
  for (std::size_t i = 0; i < chart.groups.size(); ++i) {
    svg << "<rect x='" << legend << "' y='28' width='9' height='9' fill='" << colour_of(static_cast<int>(i))
        << "'/><text x='" << legend + 13 << "' y='36'>" << chart.groups[i] << "</text>\n";
    legend += 30.0 + 6.5 * static_cast<double>(chart.groups[i].size());
  }
  for (const double tick : axis.ticks()) {
    vertical_line(svg, axis.place(tick), bottom, "#dddddd");
    svg << "<text x='" << axis.place(tick) << "' y='" << kTop - 8 << "' text-anchor='middle' fill='#555555'>"
        << figure(tick, 3) << "</text>\n";
  }
  double y = kTop;
  for (const Bar& bar : chart.bars) {
    svg << "<text x='" << kLabelWidth - 6 << "' y='" << y + 10 << "' text-anchor='end'>" << bar.label
        << "</text>\n";
    if (!std::isnan(bar.value)) {
      svg << "<rect x='" << kLabelWidth << "' y='" << y + 2 << "' width='"
          << axis.place(bar.value) - kLabelWidth << "' height='" << kRowHeight - 4 << "' fill='"
          << colour_of(bar.group) << "'/><text x='" << axis.place(bar.value) + 4 << "' y='" << y + 10
          << "' fill='#333333'>" << figure(bar.value, 3) << "</text>\n";
    }
    y += kRowHeight;
  }
  for (const double mark : chart.marks) vertical_line(svg, axis.place(mark), bottom, "#000000");
  svg << "</svg>\n";
  svg.flush();
  if (!svg) throw std::runtime_error("cannot write " + path);
}

}  // namespace kyv::bench
