#include "suite/fft_bench.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "KyvMath.h"
#include "cells/cell_sets.h"
#include "cells/conversion_cell.h"
#include "common/csv.h"
#include "common/eviction.h"
#include "peers/peers.h"
#include "psfotf/conversion.h"
#include "suite/roofline.h"

namespace kyv::bench {
namespace {

// One row of the table: a cell, and what peers reached on it on another machine.
struct FftRow {
  ConversionCell cell;
  bool with_fftw = true;  // whose plans for odd lengths take longer to make than all else
  std::string best_peer = "-";
  double best_us = kUnknown;         // the best known peer's whole call of three planes, elsewhere
  double fftw_us = kUnknown;         // one execution of FFTW's measured plan, on that machine
  double best_over_fftw = kUnknown;  // best_us over three of those executions
};

double number_or_unknown(const std::string& text) { return text == "-" ? kUnknown : std::stod(text); }

std::vector<FftRow> read_rows(const std::string& folder) {
  std::vector<FftRow> rows;
  for (const TableRow& line : read_tsv(folder + "/fft.tsv")) {
    FftRow row;
    if (std::sscanf(line.at("size").c_str(), "%dx%d", &row.cell.columns, &row.cell.rows) != 2) {
      throw std::runtime_error("bad size " + line.at("size"));
    }
    row.cell.single = line.at("precision") == "float";
    row.best_peer = line.at("best_peer");
    row.best_us = number_or_unknown(line.at("best_call_us"));
    row.fftw_us = number_or_unknown(line.at("fftw_measured_plan_execute_us"));
    row.best_over_fftw = row.best_us / (kPlanes * row.fftw_us);
    FftRow real;  // nothing is known of other machines
    real.cell = row.cell;
    real.cell.real = true;
    rows.push_back(std::move(row));
    rows.push_back(std::move(real));
  }
  return rows;
}

std::vector<FftRow> rows_of_set(const Options& options) {
  if (options.conversions == "standard") return read_rows(options.data);
  std::vector<FftRow> rows;
  for (const ConversionCell& cell : options.conversions == "random"
                                        ? random_squares(100, 20, 1)
                                        : conversions_of_sizes(options.conversions)) {
    rows.push_back({.cell = cell, .with_fftw = false});
  }
  return rows;
}

// The rows that the user chose and that this program can hold.
std::vector<FftRow> chosen_rows(const Options& options) {
  std::vector<FftRow> rows = rows_of_set(options);
  std::erase_if(rows, [&](const FftRow& row) {
    return !options.filter.finds(row.cell.name()) || !row.cell.fits_in_memory();
  });
  return rows;
}

// A row-major picture has its textbook transform when its number of rows is passed as the width.
psfotf::PlaneStack stack_of(const PlaneArrays& arrays, const ConversionCell& cell) {
  return {arrays.src_real(),
          arrays.src_imag(),
          arrays.dst_real(),
          arrays.dst_imag(),
          cell.rows,
          cell.columns,
          kPlanes};
}

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
      if (k.row.cell.single == row.cell.single) nearest.push_back(k);
    }
    if (nearest.size() < 3) return kUnknown;
    const auto distance = [&](const Known& k) {
      return std::abs(std::log(k.row.cell.values() / row.cell.values()));
    };
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
  const double n = row.cell.values();
  const double bytes = kPlanes * n * 4 * sizeof(double);
  return {kPlanes * 2.5 * n * std::log2(n) / multiply_adds_per_second, bytes / copy_rate_for(copy, bytes)};
}

CellResult result_of(const FftRow& row, const std::string& variant, const Timing& timing,
                     const Machine& machine) {
  const double rate = row.cell.single ? machine.float_rate(variant) : machine.double_rate(variant);
  const Roofline roof = roofline_of(row, rate, machine.copy);
  CellResult r;
  r.service = Service::kConversion;
  r.name = row.cell.name();
  r.variant = variant;
  r.workload = "fft";
  r.kind = row.cell.single ? "float" : "double";
  if (row.cell.real) r.kind += " real";
  r.seconds = timing.minimum();
  r.median = timing.median();
  r.noise = timing.noise();
  r.best_peer = row.best_peer;
  r.roof_share = roof.seconds() / r.seconds;
  r.bound = roof.arithmetic_binds() ? "arithmetic" : "memory";
  return r;
}

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// The candidates of one row: our variants first, then the peers that can do it.
struct Contest {
  struct Peer {
    std::string name;
    peers::Level level;
    std::size_t call;
    std::size_t execute;
  };

  std::vector<Work> candidates;
  std::size_t fftw = kNone;  // bare executions
  std::vector<Peer> peers;

  std::size_t add(Work work) {
    if (!work) return kNone;
    candidates.push_back(std::move(work));
    return candidates.size() - 1;
  }
};

Contest contest_of(const FftRow& row, const PlaneArrays& arrays, const Options& options,
                   const peers::Peers& peers) {
  Contest contest;
  const ConversionCell& cell = row.cell;
  const psfotf::PlaneStack stack = stack_of(arrays, cell);
  for (const runtime::KernelSet* variant : options.variants) {
    contest.add([single = cell.single, stack, variant] { convert_once(stack, single, *variant); });
  }
  if (!options.peers) return contest;
  const bool comparable = row.with_fftw && !cell.real && (peers.from_folder() || !std::isnan(row.fftw_us));
  if (comparable) contest.fftw = contest.add(peers::fftw_execute(cell.columns, cell.rows, cell.single));
  if (!peers.from_folder()) return contest;
  const peers::ConversionTask task = {cell.columns,      cell.rows,         cell.single,
                                      cell.real,         arrays.src_real(), arrays.src_imag(),
                                      arrays.dst_real(), arrays.dst_imag(), kPlanes};
  for (peers::ConversionPeer& peer : peers.conversions(task, highest_level(options))) {
    if (!row.with_fftw && peer.name.starts_with("FFTW")) continue;
    const std::size_t call = contest.add(std::move(peer.call));
    contest.peers.push_back({peer.name, peer.level, call, contest.add(std::move(peer.execute))});
  }
  return contest;
}

std::vector<Timing> time_contest(const Contest& contest, const PlaneArrays& arrays, const Options& options) {
  if (!options.cold) return time_interleaved(std::span<const Work>(contest.candidates), options.effort);
  const Work evict_destination = [&arrays] {
    evict(arrays.dst_real(), arrays.values() * sizeof(double));
    evict(arrays.dst_imag(), arrays.values() * sizeof(double));
  };
  std::vector<PreparedWork> prepared;
  for (const Work& work : contest.candidates) prepared.push_back({evict_destination, work});
  return time_interleaved(std::span<const PreparedWork>(prepared), options.effort);
}

// The peers of this run in place of the estimate.
void take_measured(CellResult& r, const Contest& contest, const std::vector<Timing>& timings,
                   peers::Level level) {
  r.best_is_measured = true;
  r.best_ratio = kUnknown;
  r.best_peer.clear();
  const auto take = [&](std::size_t candidate, const std::string& name, double* ratio, std::string* best) {
    const double times = timings[candidate].minimum() / r.seconds;
    if (!std::isnan(*ratio) && times >= *ratio) return;
    *ratio = times;
    *best = name;
  };
  for (const Contest::Peer& peer : contest.peers) {
    if (peer.level > level) continue;
    take(peer.call, peer.name, &r.best_ratio, &r.best_peer);
    take(peer.execute, peer.name, &r.other_ratio, &r.other_peer);
  }
}

std::string suffix_of(Placement placement) {
  return placement == Placement::kMalloc ? "" : placement == Placement::kAligned ? " aligned" : " misaligned";
}

// One row with arrays of one placement.
void bench_row(const FftRow& row, Placement placement, const Options& options, const Machine& machine,
               const peers::Peers& peers, MachineScale& scale, std::vector<CellResult>& results) {
  const PlaneArrays arrays(row.cell, placement);
  const Contest contest = contest_of(row, arrays, options, peers);
  const std::vector<Timing> timings = time_contest(contest, arrays, options);
  const bool with_fftw = contest.fftw != kNone;
  const double fftw_seconds = with_fftw ? timings[contest.fftw].minimum() : kUnknown;
  if (with_fftw) scale.add(row, fftw_seconds);
  const double best_seconds = std::isnan(row.fftw_us) ? 1e-6 * row.best_us * scale.near(row)
                                                      : kPlanes * fftw_seconds * row.best_over_fftw;
  for (std::size_t v = 0; v < options.variants.size(); ++v) {
    CellResult r = result_of(row, options.variants[v]->name, timings[v], machine);
    r.name += suffix_of(placement);
    r.reference_seconds = fftw_seconds;
    r.reference_ratio = kPlanes * fftw_seconds / r.seconds;
    if (with_fftw) r.reference_ratio_median = kPlanes * paired_ratio(timings[contest.fftw], timings[v]);
    r.best_ratio = best_seconds / r.seconds;
    if (!contest.peers.empty()) take_measured(r, contest, timings, level_of(*options.variants[v]));
    print_result(r);
    results.push_back(std::move(r));
  }
}

}  // namespace

std::vector<CellResult> bench_conversion(const Options& options, const Machine& machine,
                                         const peers::Peers& peers) {
  std::vector<CellResult> results;
  MachineScale scale;
  for (const FftRow& row : chosen_rows(options)) {
    if (results.empty()) print_header(Service::kConversion);
    for (const Placement placement : options.placements) {
      bench_row(row, placement, options, machine, peers, scale, results);
    }
  }
  return results;
}

int check_conversion(const Options& options) {
  const runtime::KernelSet& scalar = runtime::all_kernel_sets().back();
  int checked = 0;
  int failed = 0;
  for (const FftRow& row : chosen_rows(options)) {
    PlaneArrays arrays(row.cell, Placement::kMalloc);
    const psfotf::PlaneStack stack = stack_of(arrays, row.cell);
    convert_once(stack, row.cell.single, scalar);
    const std::vector<double> expected = arrays.result();
    double energy = 0.0;
    for (const double value : expected) energy += value * value;
    ++checked;
    for (const runtime::KernelSet* variant : options.variants) {
      arrays.forget_result();
      convert_once(stack, row.cell.single, *variant);
      const std::vector<double> first = arrays.result();
      arrays.forget_result();
      convert_once(stack, row.cell.single, *variant);
      const std::vector<double> second = arrays.result();
      const bool repeats = std::memcmp(first.data(), second.data(), first.size() * sizeof(double)) == 0;
      double error = 0.0;
      for (std::size_t i = 0; i < first.size(); ++i)
        error += (first[i] - expected[i]) * (first[i] - expected[i]);
      const double relative = std::sqrt(error / energy);
      const double bound = row.cell.single ? 6e-7 : 2e-15;
      if (repeats && relative <= bound) continue;
      ++failed;
      std::printf("DIFFERENT from scalar: %s %s: relative error %.2g, %s\n", row.cell.name().c_str(),
                  variant->name, relative, repeats ? "repeatable" : "not repeatable");
    }
  }
  std::printf("conversion: %d rows compared with the scalar variant, %d failed\n", checked, failed);
  return failed;
}

}  // namespace kyv::bench
