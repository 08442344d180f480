#include "suite/fft_bench.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "KyvMath.h"
#include "common/csv.h"
#include "peers/peers.h"
#include "psfotf/conversion.h"
#include "suite/roofline.h"

namespace kyv::bench {
namespace {

constexpr int kPlanes = 3;

// One row of the table: pictures of `columns` by `rows`, and what peers reached on them.
struct FftRow {
  int columns = 0;
  int rows = 0;
  bool single = false;
  std::string best_peer;
  double best_us = kUnknown;         // the best known peer's whole call of three planes, elsewhere
  double fftw_us = kUnknown;         // one execution of FFTW's measured plan, on that machine
  double best_over_fftw = kUnknown;  // best_us over three of those executions

  std::string name() const {
    return "fft " + std::to_string(columns) + 'x' + std::to_string(rows) + (single ? " float" : " double");
  }
  double values() const { return static_cast<double>(columns) * rows; }
};

double number_or_unknown(const std::string& text) { return text == "-" ? kUnknown : std::stod(text); }

std::vector<FftRow> read_rows(const std::string& folder) {
  std::vector<FftRow> rows;
  for (const TableRow& line : read_tsv(folder + "/fft.tsv")) {
    FftRow row;
    if (std::sscanf(line.at("size").c_str(), "%dx%d", &row.columns, &row.rows) != 2) {
      throw std::runtime_error("bad size " + line.at("size"));
    }
    row.single = line.at("precision") == "float";
    row.best_peer = line.at("best_peer");
    row.best_us = number_or_unknown(line.at("best_call_us"));
    row.fftw_us = number_or_unknown(line.at("fftw_measured_plan_execute_us"));
    row.best_over_fftw = row.best_us / (kPlanes * row.fftw_us);
    rows.push_back(std::move(row));
  }
  return rows;
}

// A 32-bit program has two gigabytes of addresses, and the library wants scratch as well.
bool fits_in_memory(const FftRow& row) {
  return sizeof(void*) == 8 || row.values() * kPlanes * 4 * sizeof(double) < 1.3e9;
}

// The rows that the user chose and that this program can hold.
std::vector<FftRow> chosen_rows(const Options& options) {
  std::vector<FftRow> rows = read_rows(options.data);
  std::erase_if(rows, [&](const FftRow& row) {
    return !std::regex_search(row.name(), options.filter) || !fits_in_memory(row);
  });
  return rows;
}

// Arrays where malloc puts them, every page touched.
class PlaneArrays {
 public:
  explicit PlaneArrays(const FftRow& row)
      : values_(kPlanes * static_cast<std::size_t>(row.columns) * static_cast<std::size_t>(row.rows)) {
    for (Array& array : arrays_) {
      array.reset(static_cast<double*>(std::malloc(values_ * sizeof(double))));
      if (!array) throw std::bad_alloc();
    }
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < values_; ++i) {
      state = state * 1664525u + 1013904223u;
      arrays_[0][i] = static_cast<double>(state >> 8) * 0x1p-24;
      arrays_[1][i] = static_cast<double>(state & 0xFFFFu) * 0x1p-16 - 0.5;
      arrays_[2][i] = arrays_[3][i] = 0.0;
    }
  }

  // A row-major picture has its textbook transform when its number of rows is passed as the width.
  psfotf::PlaneStack stack(const FftRow& row) const {
    return {arrays_[0].get(), arrays_[1].get(), arrays_[2].get(), arrays_[3].get(),
            row.rows,         row.columns,      kPlanes};
  }
  std::vector<double> result() const {
    std::vector<double> values(arrays_[2].get(), arrays_[2].get() + values_);
    values.insert(values.end(), arrays_[3].get(), arrays_[3].get() + values_);
    return values;
  }
  void forget_result() {
    std::memset(arrays_[2].get(), 0xA5, values_ * sizeof(double));
    std::memset(arrays_[3].get(), 0xA5, values_ * sizeof(double));
  }

 private:
  struct Free {
    void operator()(double* p) const noexcept { std::free(p); }
  };
  using Array = std::unique_ptr<double[], Free>;

  std::size_t values_;
  Array arrays_[4];
};

// The variant that the library would choose runs through the library's own exports.
bool run_export(const psfotf::PlaneStack& s, bool single) {
  const auto convert = single ? KyvMathConvertOtfFromPsf : KyvMathConvertOtfFromPsf_D;
  return convert(s.src_real, s.src_imag, s.dst_real, s.dst_imag, s.width, s.height, s.planes) == KYVMATH_OK;
}

bool run_variant(const psfotf::PlaneStack& stack, bool single, const runtime::KernelSet& variant) {
  const auto precision = single ? psfotf::Precision::kSingle : psfotf::Precision::kDouble;
  return psfotf::convert_planes(stack, psfotf::Direction::kForward, precision, variant) == 0;
}

void convert_once(const psfotf::PlaneStack& stack, bool single, const runtime::KernelSet& variant) {
  const bool done = &variant == &runtime::active_kernel_set() ? run_export(stack, single)
                                                              : run_variant(stack, single, variant);
  if (!done) throw std::runtime_error("a conversion was refused");
}

// How this machine compares with the one of the table, where FFTW was not measured there: FFTW's time here
// over its time there, geometric mean of the three rows nearest in size and of the same precision.
class MachineScale {
 public:
  void add(const FftRow& row, double fftw_seconds_here) {
    if (!std::isnan(row.fftw_us)) known_.push_back({row, fftw_seconds_here / (1e-6 * row.fftw_us)});
  }
  double near(const FftRow& row) const {
    std::vector<Known> nearest;
    for (const Known& k : known_) {
      if (k.row.single == row.single) nearest.push_back(k);
    }
    if (nearest.size() < 3) return kUnknown;
    const auto distance = [&](const Known& k) { return std::abs(std::log(k.row.values() / row.values())); };
    std::sort(nearest.begin(), nearest.end(),
              [&](const Known& a, const Known& b) { return distance(a) < distance(b); });
    return std::cbrt(nearest[0].scale * nearest[1].scale * nearest[2].scale);
  }

 private:
  struct Known {
    FftRow row;
    double scale;
  };
  std::vector<Known> known_;
};

// The textbook's 5 n log2 n operations, two to a multiply-add, and each value read and written once.
Roofline roofline_of(const FftRow& row, double multiply_adds_per_second, const std::vector<CopyRate>& copy) {
  const double n = row.values();
  const double bytes = kPlanes * n * 4 * sizeof(double);
  return {kPlanes * 2.5 * n * std::log2(n) / multiply_adds_per_second, bytes / copy_rate_for(copy, bytes)};
}

CellResult result_of(const FftRow& row, const std::string& variant, const Timing& timing,
                     const Machine& machine) {
  const double rate = row.single ? machine.float_rate(variant) : machine.double_rate(variant);
  const Roofline roof = roofline_of(row, rate, machine.copy);
  CellResult r;
  r.service = Service::kConversion;
  r.name = row.name();
  r.variant = variant;
  r.workload = "fft";
  r.kind = row.single ? "float" : "double";
  r.seconds = timing.minimum();
  r.median = timing.median();
  r.noise = timing.noise();
  r.best_peer = row.best_peer;
  r.roof_share = roof.seconds() / r.seconds;
  r.bound = roof.arithmetic_binds() ? "arithmetic" : "memory";
  return r;
}

}  // namespace

std::vector<CellResult> bench_conversion(const Options& options, const Machine& machine) {
  std::vector<CellResult> results;
  MachineScale scale;
  for (const FftRow& row : chosen_rows(options)) {
    if (results.empty()) print_header(Service::kConversion);
    const PlaneArrays arrays(row);
    const psfotf::PlaneStack stack = arrays.stack(row);
    std::vector<Work> candidates;
    for (const runtime::KernelSet* variant : options.variants) {
      candidates.push_back([&row, stack, variant] { convert_once(stack, row.single, *variant); });
    }
    const bool measured_elsewhere = !std::isnan(row.fftw_us);
    Work fftw =
        options.peers && measured_elsewhere ? peers::fftw_execute(row.columns, row.rows, row.single) : Work();
    const bool with_fftw = static_cast<bool>(fftw);
    if (with_fftw) candidates.push_back(std::move(fftw));
    const std::vector<Timing> timings = time_interleaved(candidates, options.effort);

    const double fftw_seconds = with_fftw ? timings.back().minimum() : kUnknown;
    if (with_fftw) scale.add(row, fftw_seconds);
    const double best_seconds = measured_elsewhere ? kPlanes * fftw_seconds * row.best_over_fftw
                                                   : 1e-6 * row.best_us * scale.near(row);
    for (std::size_t v = 0; v < options.variants.size(); ++v) {
      CellResult r = result_of(row, options.variants[v]->name, timings[v], machine);
      r.reference_seconds = fftw_seconds;
      r.reference_ratio = kPlanes * fftw_seconds / r.seconds;
      if (with_fftw) r.reference_ratio_median = kPlanes * paired_ratio(timings.back(), timings[v]);
      r.best_ratio = best_seconds / r.seconds;
      print_result(r);
      results.push_back(std::move(r));
    }
  }
  return results;
}

int check_conversion(const Options& options) {
  const runtime::KernelSet& scalar = runtime::all_kernel_sets().back();
  int checked = 0;
  int failed = 0;
  for (const FftRow& row : chosen_rows(options)) {
    PlaneArrays arrays(row);
    const psfotf::PlaneStack stack = arrays.stack(row);
    convert_once(stack, row.single, scalar);
    const std::vector<double> expected = arrays.result();
    double energy = 0.0;
    for (const double value : expected) energy += value * value;
    ++checked;
    for (const runtime::KernelSet* variant : options.variants) {
      arrays.forget_result();
      convert_once(stack, row.single, *variant);
      const std::vector<double> first = arrays.result();
      arrays.forget_result();
      convert_once(stack, row.single, *variant);
      const std::vector<double> second = arrays.result();
      const bool repeats = std::memcmp(first.data(), second.data(), first.size() * sizeof(double)) == 0;
      double error = 0.0;
      for (std::size_t i = 0; i < first.size(); ++i)
        error += (first[i] - expected[i]) * (first[i] - expected[i]);
      const double relative = std::sqrt(error / energy);
      const double bound = row.single ? 6e-7 : 2e-15;
      if (repeats && relative <= bound) continue;
      ++failed;
      std::printf("DIFFERENT from scalar: %s %s: relative error %.2g, %s\n", row.name().c_str(),
                  variant->name, relative, repeats ? "repeatable" : "not repeatable");
    }
  }
  std::printf("conversion: %d rows compared with the scalar variant, %d failed\n", checked, failed);
  return failed;
}

}  // namespace kyv::bench
