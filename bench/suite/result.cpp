#include "suite/result.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>

#include "common/csv.h"
#include "common/host.h"
#include "suite/svg.h"

namespace kyv::bench {
namespace {

constexpr bool k64Bit = sizeof(void*) == 8;

const ArithmeticRate& rate_of(const std::vector<ArithmeticRate>& rates, const std::string& variant) {
  const auto found =
      std::find_if(rates.begin(), rates.end(), [&](const ArithmeticRate& r) { return r.variant == variant; });
  if (found == rates.end()) throw std::runtime_error("no rate for variant " + variant);
  return *found;
}

// The share of the roofline that a large picture is to reach, 0 where no goal is set.
double roof_goal(const CellResult& r) {
  if (r.service == Service::kConversion || !k64Bit) return 0.0;
  const bool large = r.workload == "A" || r.workload == "B";
  if (r.variant == "avx512") {
    if (r.workload == "I" || (large && r.kind == "nearest")) return 0.70;
    if (!large) return 0.0;
    if (r.kind == "lanczos3") return 0.45;
    return r.kind == "cubic" ? 0.35 : 0.25;
  }
  return r.variant == "avx2" && large && r.kind == "lanczos3" ? 0.55 : 0.0;
}

// The geometric mean of the ratios to the best known peers that is to be reached, 0 where no goal is set.
double mean_goal(Service service, const std::string& variant) {
  if (!k64Bit) return 0.0;
  if (variant == "avx512") return service == Service::kResize ? 2.0 : 2.2;
  if (variant == "avx2") return service == Service::kResize ? 1.4 : 1.6;
  return 0.0;
}

bool has_peer_goal(const CellResult& r) {
  return k64Bit && (r.variant == "avx512" || r.variant == "avx2") && !std::isnan(r.best_ratio);
}

class GeometricMean {
 public:
  void add(double value) {
    if (std::isnan(value)) return;
    logarithms_ += std::log(value);
    ++count_;
  }
  int count() const { return count_; }
  double value() const { return count_ == 0 ? kUnknown : std::exp(logarithms_ / count_); }

 private:
  double logarithms_ = 0.0;
  int count_ = 0;
};

using Select = std::function<double(const CellResult&)>;
using Key = std::function<std::string(const CellResult&)>;

void print_means(const std::vector<CellResult>& results, const char* what, const Key& key,
                 const Select& value) {
  std::map<std::string, GeometricMean> means;
  for (const CellResult& r : results) means[key(r)].add(value(r));
  std::printf("  by %-9s", what);
  for (const auto& [name, mean] : means) {
    if (mean.count() > 0) std::printf("  %s %.2f", name.c_str(), mean.value());
  }
  std::printf("\n");
}

GeometricMean mean_of(const std::vector<CellResult>& results, const Select& value) {
  GeometricMean mean;
  for (const CellResult& r : results) mean.add(value(r));
  return mean;
}

const char* verdict(bool reached) { return reached ? "reached" : "MISSED"; }

void print_peer_goals(const std::vector<CellResult>& results, Service service, const std::string& variant) {
  const GeometricMean best = mean_of(results, [](const CellResult& r) { return r.best_ratio; });
  if (best.count() == 0) return;
  const auto behind =
      std::count_if(results.begin(), results.end(), [](const CellResult& r) { return r.best_ratio < 1.0; });
  std::printf("  times faster than the best known peer: %.2f (geometric mean of %d)", best.value(),
              best.count());
  const double goal = mean_goal(service, variant);
  if (goal > 0.0) std::printf(", goal %.1f %s", goal, verdict(best.value() >= goal));
  std::printf("; cells behind it: %d\n", static_cast<int>(behind));
}

void print_roof_goals(const std::vector<CellResult>& results) {
  std::map<std::string, std::pair<int, int>> reached;  // goal -> reached, all
  for (const CellResult& r : results) {
    const double goal = roof_goal(r);
    if (goal == 0.0) continue;
    auto& [good, all] =
        reached[(r.workload == "I" ? "identity" : r.kind) + " >= " + figure(100 * goal) + " %"];
    good += r.roof_share >= goal ? 1 : 0;
    ++all;
  }
  for (const auto& [name, counts] : reached) {
    std::printf("  share of the roofline, %s: %d of %d cells, %s\n", name.c_str(), counts.first,
                counts.second, verdict(counts.first == counts.second));
  }
}

void print_scalar_goal(const std::vector<CellResult>& results, const std::string& variant) {
  GeometricMean mean;
  for (const CellResult& r : results) {
    if (r.format == "8uC3" && r.kind == "lanczos3" && r.workload != "I") mean.add(r.scalar_ratio);
  }
  if (mean.count() == 0 || variant == "scalar") return;
  std::printf("  8-bit RGB Lanczos, times faster than the scalar variant: %.1f", mean.value());
  if (variant == "sse2") std::printf(", goal 4.0 %s", verdict(mean.value() >= 4.0));
  std::printf("\n");
}

void print_against_goal(const std::vector<CellResult>& results, Service service) {
  const GeometricMean mean = mean_of(results, [](const CellResult& r) { return r.against_ratio; });
  if (mean.count() == 0) return;
  std::printf("  speed against the earlier run: %.2f (geometric mean of %d)", mean.value(), mean.count());
  const double goal = service == Service::kResize ? 0.75 : 0.6;
  if (!k64Bit) std::printf(", goal of a 32-bit build %.2f %s", goal, verdict(mean.value() >= goal));
  std::printf("\n");
}

std::vector<CellResult> only(const std::vector<CellResult>& results, Service service,
                             const std::string& variant) {
  std::vector<CellResult> chosen;
  std::copy_if(results.begin(), results.end(), std::back_inserter(chosen),
               [&](const CellResult& r) { return r.service == service && r.variant == variant; });
  return chosen;
}

const char* file_of(Service service) { return service == Service::kResize ? "/resize.csv" : "/fft.csv"; }

void write_table(const std::vector<CellResult>& results, Service service, const std::string& folder) {
  const bool resize = service == Service::kResize;
  CsvTable table({"cell", "variant", "ms", "median_ms", "noise", resize ? "zimg_ms" : "fftw_ms",
                  resize ? "times_zimg" : "times_3_fftw", "median_ratio", "times_stb", "best_peer",
                  "times_best_peer", "roof_share", "bound", "times_scalar", "speed_against", "missed"});
  for (const CellResult& r : results) {
    if (r.service != service) continue;
    table.add_row({r.name, r.variant, figure(1e3 * r.seconds), figure(1e3 * r.median), figure(r.noise, 2),
                   figure(1e3 * r.reference_seconds), figure(r.reference_ratio, 3),
                   figure(r.reference_ratio_median, 3), figure(r.stb_ratio, 3), r.best_peer,
                   figure(r.best_ratio, 3), figure(r.roof_share, 3), r.bound, figure(r.scalar_ratio, 3),
                   figure(r.against_ratio, 3), misses_of(r)});
  }
  table.write(folder + file_of(service));
}

void write_machine(const Machine& machine, const std::string& folder) {
  CsvTable table({"figure", "of", "value", "unit"});
  for (const ArithmeticRate& rate : machine.arithmetic) {
    table.add_row({"float multiply-adds", rate.variant, figure(rate.float_rate * 1e-9), "G/s"});
    table.add_row({"double multiply-adds", rate.variant, figure(rate.double_rate * 1e-9), "G/s"});
  }
  for (const CopyRate& rate : machine.copy) {
    table.add_row({"copy read and written", std::to_string(rate.bytes >> 10) + " KB",
                   figure(rate.rate * 1e-9), "GB/s"});
  }
  table.write(folder + "/machine.csv");
}

struct Plot {
  const char* file;
  const char* title;
  const char* unit;
  bool logarithmic;
  std::vector<double> marks;
  Select value;
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

double Machine::float_rate(const std::string& variant) const {
  return rate_of(arithmetic, variant).float_rate;
}
double Machine::double_rate(const std::string& variant) const {
  return rate_of(arithmetic, variant).double_rate;
}

Machine measure_machine(int core, const Effort& effort) {
  return {processor_name(), core, measure_arithmetic_rates(effort), measure_copy_rates(effort)};
}

std::string misses_of(const CellResult& r) {
  std::string misses;
  if (has_peer_goal(r) && r.best_ratio < 1.0) misses = "behind " + r.best_peer;
  const double goal = roof_goal(r);
  if (goal > 0.0 && r.roof_share < goal) {
    misses += (misses.empty() ? "" : "; ") + ("roof below " + figure(100 * goal) + " %");
  }
  return misses;
}

void print_header(Service service) {
  std::printf("\n%-40s %-7s %10s %6s %8s %6s %8s %-15s %6s  %s\n", "cell", "variant",
              service == Service::kResize ? "ms" : "us", "noise",
              service == Service::kResize ? "x zimg" : "x FFTW", "x stb", "x best", "best peer", "roof",
              "missed goals");
}

void print_result(const CellResult& r) {
  const double unit = r.service == Service::kResize ? 1e3 : 1e6;
  const auto ratio = [](double value) { return std::isnan(value) ? std::string("-") : figure(value, 3); };
  std::printf("%-40s %-7s %10.4f %5.1f%% %8s %6s %8s %-15s %5.1f%%%c %s\n", r.name.c_str(), r.variant.c_str(),
              unit * r.seconds, 100 * r.noise, ratio(r.reference_ratio).c_str(), ratio(r.stb_ratio).c_str(),
              ratio(r.best_ratio).c_str(), r.best_peer.c_str(), 100 * r.roof_share,
              r.bound.empty() ? ' ' : r.bound[0], misses_of(r).c_str());
  std::fflush(stdout);
}

void print_summary(const std::vector<CellResult>& results, Service service, const std::string& variant) {
  const std::vector<CellResult> own = only(results, service, variant);
  if (own.empty()) return;
  const bool resize = service == Service::kResize;
  std::printf("\n%s, %s, %zu-bit\n", resize ? "Resize" : "Conversion", variant.c_str(), 8 * sizeof(void*));
  const Select best = [](const CellResult& r) { return r.best_ratio; };
  print_peer_goals(own, service, variant);
  if (mean_of(own, best).count() > 0) {
    print_means(
        own, resize ? "filter" : "precision", [](const CellResult& r) { return r.kind; }, best);
    if (resize) {
      print_means(
          own, "workload", [](const CellResult& r) { return r.workload; }, best);
      print_means(
          own, "format", [](const CellResult& r) { return r.format; }, best);
    }
  }
  print_roof_goals(own);
  if (resize) print_scalar_goal(own, variant);
  print_against_goal(own, service);
}

void compare_with_earlier(std::vector<CellResult>& results, const std::string& folder) {
  std::map<std::string, double> earlier;
  for (const Service service : {Service::kResize, Service::kConversion}) {
    for (const TableRow& row : read_csv(folder + file_of(service))) {
      earlier[row.at("cell") + ' ' + row.at("variant")] = 1e-3 * std::stod(row.at("ms"));
    }
  }
  for (CellResult& r : results) {
    const auto found = earlier.find(r.name + ' ' + r.variant);
    if (found != earlier.end()) r.against_ratio = found->second / r.seconds;
  }
}

void write_results(const std::vector<CellResult>& results, const Machine& machine,
                   const std::string& folder) {
  write_table(results, Service::kResize, folder);
  write_table(results, Service::kConversion, folder);
  write_machine(machine, folder);
}

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
