#include "suite/plots.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "suite/svg.h"

namespace kyv::bench {
namespace {

struct Plot {
  const char* file;
  const char* title;
  const char* unit;
  bool logarithmic;
  std::vector<double> marks;
  double (*value)(const CellResult&);
};

void write_plot(const std::vector<CellResult>& results, const Plot& plot, const std::string& path) {
  BarChart chart{.title = plot.title, .unit = plot.unit, .groups = {}, .bars = {}, .marks = {}};
  for (const CellResult& r : results) {
    const double value = plot.value(r);
    if (std::isnan(value)) continue;
    const auto known = std::find(chart.groups.begin(), chart.groups.end(), r.kind);
    const auto group = static_cast<int>(known - chart.groups.begin());
    if (known == chart.groups.end()) chart.groups.push_back(r.kind);
    chart.bars.push_back({r.name, value, group});
  }
  if (chart.bars.empty()) return;
  chart.marks = plot.marks;
  chart.logarithmic = plot.logarithmic;
  write_svg(chart, path);
}

}  // namespace

void write_plots(const std::vector<CellResult>& results, const std::string& folder) {
  const Plot resize_plots[] = {
      {"resize-time", "Resize", "ms", true, {}, [](const CellResult& r) { return 1e3 * r.seconds; }},
      {"resize-best",
       "Resize: times faster than the best known peer",
       "ratio",
       false,
       {1.0, 2.0},
       [](const CellResult& r) { return r.best_ratio; }},
      {"resize-zimg",
       "Resize: times faster than zimg in the same run",
       "ratio",
       true,
       {1.0},
       [](const CellResult& r) { return r.reference_ratio; }},
      {"resize-stb",
       "Resize: times faster than stb_image_resize in the same run",
       "ratio",
       true,
       {1.0},
       [](const CellResult& r) { return r.stb_ratio; }},
      {"resize-roof", "Resize: share of the roofline", "%", false, {100.0}, [](const CellResult& r) {
         return 100 * r.roof_share;
       }}};
  const Plot fft_plots[] = {
      {"fft-time",
       "Conversion of three planes",
       "us",
       true,
       {},
       [](const CellResult& r) { return 1e6 * r.seconds; }},
      {"fft-best",
       "Conversion: times faster than the best known peer",
       "ratio",
       false,
       {1.0, 2.0},
       [](const CellResult& r) { return r.best_ratio; }},
      {"fft-fftw",
       "Conversion: three executions of a prepared FFTW plan over one whole call",
       "ratio",
       false,
       {1.0},
       [](const CellResult& r) { return r.reference_ratio; }},
      {"fft-roof", "Conversion: share of the roofline", "%", false, {100.0}, [](const CellResult& r) {
         return 100 * r.roof_share;
       }}};
  std::set<std::string> variants;
  for (const CellResult& r : results) variants.insert(r.variant);
  for (const std::string& variant : variants) {
    const auto path = [&](const Plot& plot) { return folder + '/' + plot.file + '-' + variant + ".svg"; };
    const std::vector<CellResult> resize = only(results, Service::kResize, variant);
    const std::vector<CellResult> fft = only(results, Service::kConversion, variant);
    for (const Plot& plot : resize_plots) write_plot(resize, plot, path(plot));
    for (const Plot& plot : fft_plots) write_plot(fft, plot, path(plot));
  }
}

}  // namespace kyv::bench
