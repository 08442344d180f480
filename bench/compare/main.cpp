// kyvmath_compare OLD NEW: two builds of the library (libKyvMath.so or KyvMath.dll) in one run, cell by cell
// and round by round in turn. Status 1 when a resize gives other bytes or a conversion leaves its error
// bound.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>

#include "cells/cell_sets.h"
#include "common/command_line.h"
#include "common/csv.h"
#include "common/host.h"
#include "common/name_filter.h"
#include "compare/comparison.h"

namespace kyv::bench {
namespace {

// Twice what either build may be away from the exact values, plus what another order of operations may give.
constexpr double kSingleBound = 1.2e-6;
constexpr double kDoubleBound = 4e-15;
constexpr double kSlower = 0.05;
constexpr std::size_t kWorstShown = 12;

struct Options {
  std::string old_path;
  std::string new_path;
  std::string old_set;
  std::string new_set;
  std::string cells = "standard";
  std::vector<std::string> sizes;
  int random = 0;
  std::uint64_t seed = 1;
  std::string conversions = "standard";
  NameFilter filter;
  double seconds = 0.15;
  bool check_only = false;
  int core = -1;
  std::string data = KYVMATH_BENCH_DATA;
  std::string csv;
};

std::vector<ResizeCell> resizes_of(const Options& options) {
  std::vector<ResizeCell> cells = cells_of_sets(options.cells, options.data);
  const auto append = [&cells](const std::vector<ResizeCell>& more) {
    cells.insert(cells.end(), more.begin(), more.end());
  };
  for (const std::string& size : options.sizes) append(cells_of_size(size));
  append(random_cells(options.random, options.seed));
  return cells;
}

// A size in every precision, direction and kind.
void add_conversions(std::vector<ConversionCell>& cells, int columns, int rows) {
  for (const bool real : {false, true}) {
    for (const bool backward : {false, true}) {
      for (const bool single : {true, false}) cells.push_back({columns, rows, single, backward, real});
    }
  }
}

std::vector<ConversionCell> conversions_of(const Options& options) {
  std::vector<ConversionCell> cells;
  if (options.conversions == "none") return cells;
  std::string sizes = options.conversions;
  if (sizes == "standard") {
    sizes.clear();
    for (const TableRow& row : read_tsv(options.data + "/fft.tsv")) {
      if (row.at("precision") == "float") sizes += row.at("size") + ",";
    }
  }
  for (const ConversionCell& cell : conversions_of_sizes(sizes)) {
    add_conversions(cells, cell.columns, cell.rows);
  }
  std::erase_if(cells, [](const ConversionCell& cell) { return !cell.fits_in_memory(); });
  return cells;
}

void print(const Compared& c, bool failed, bool timed) {
  std::printf("%-44s ", c.name.c_str());
  if (timed) {
    std::printf("%10.4f %10.4f %7.3f %7.3f %5.1f%%  ", 1e3 * c.old_seconds, 1e3 * c.new_seconds, c.ratio,
                c.paired_ratio, 100 * c.noise);
  }
  std::printf("%s%s%s\n", c.difference == 0.0 ? "equal" : figure(c.difference, 2).c_str(),
              failed ? "  DIFFERENT" : "", c.is_slower(kSlower) ? "  slower" : "");
  std::fflush(stdout);
}

double geometric_mean(const std::vector<Compared>& all, double Compared::*ratio) {
  double logarithms = 0.0;
  for (const Compared& c : all) logarithms += std::log(c.*ratio);
  return std::exp(logarithms / static_cast<double>(all.size()));
}

void print_summary(const char* what, std::vector<Compared> all) {
  if (all.empty()) return;
  const auto slower =
      std::count_if(all.begin(), all.end(), [](const Compared& c) { return c.is_slower(kSlower); });
  const auto equal =
      std::count_if(all.begin(), all.end(), [](const Compared& c) { return c.difference == 0.0; });
  std::printf(
      "\n%s: new build %.3f times as fast (geometric mean of %zu), %.3f by the median rounds; %d slower by "
      "more than %.0f %% and the noise; %d with equal bits\n",
      what, geometric_mean(all, &Compared::ratio), all.size(), geometric_mean(all, &Compared::paired_ratio),
      static_cast<int>(slower), 100 * kSlower, static_cast<int>(equal));
  const std::size_t shown = std::min(kWorstShown, all.size());
  const auto middle = all.begin() + static_cast<std::ptrdiff_t>(shown);
  std::partial_sort(all.begin(), middle, all.end(), [](const Compared& a, const Compared& b) {
    return std::max(a.ratio, a.paired_ratio) < std::max(b.ratio, b.paired_ratio);
  });
  std::printf("  least:\n");
  for (auto c = all.begin(); c != middle; ++c) {
    std::printf("  %-44s %7.3f, median round %.3f, noise %.1f %%\n", c->name.c_str(), c->ratio,
                c->paired_ratio, 100 * c->noise);
  }
}

// Runs the chosen cells of one service; returns how many fail.
template <class Cell, class Compare, class Fails>
int run_cells(const char* what, std::vector<Cell> cells, const Options& options, CsvTable& table,
              const Compare& compare, const Fails& fails) {
  std::erase_if(cells, [&](const Cell& cell) { return !options.filter.finds(cell.name()); });
  if (cells.empty()) return 0;
  if (!options.check_only) {
    std::printf("\n%-44s %10s %10s %7s %7s %6s  %s\n", what, "old ms", "new ms", "ratio", "median", "noise",
                "result");
  }
  std::vector<Compared> all;
  int failures = 0;
  for (const Cell& cell : cells) {
    const Compared c = compare(cell);
    const bool failed = fails(cell, c);
    failures += failed ? 1 : 0;
    print(c, failed, !options.check_only);
    table.add_row({c.name, figure(1e3 * c.old_seconds), figure(1e3 * c.new_seconds), figure(c.ratio),
                   figure(c.paired_ratio), figure(c.noise, 2), figure(c.difference, 3)});
    all.push_back(c);
  }
  const auto compared = all.size();
  if (!options.check_only) print_summary(what, std::move(all));
  std::printf("%s: %zu compared, %d DIFFERENT\n", what, compared, failures);
  return failures;
}

int run(const Options& options) {
  const int core = pin_to_core(options.core);
  const Build old_build(options.old_path, options.old_set);
  const Build new_build(options.new_path, options.new_set);
  std::printf("%s, processor %d, %zu-bit program\nold: %s %s\nnew: %s %s\n", processor_name().c_str(), core,
              8 * sizeof(void*), options.old_path.c_str(), options.old_set.c_str(), options.new_path.c_str(),
              options.new_set.c_str());
  const Effort effort{.seconds = options.seconds, .max_rounds = 1 << 20};
  Comparison comparison(old_build, new_build, options.check_only ? std::nullopt : std::optional(effort));
  CsvTable table({"cell", "old_ms", "new_ms", "ratio", "median_ratio", "noise", "difference"});
  int failures = run_cells(
      "resize", resizes_of(options), options, table,
      [&](const ResizeCell& cell) { return comparison.resize(cell); },
      [](const ResizeCell&, const Compared& c) { return c.difference != 0.0; });
  failures += run_cells(
      "conversion", conversions_of(options), options, table,
      [&](const ConversionCell& cell) { return comparison.convert(cell); },
      [](const ConversionCell& cell, const Compared& c) {
        return !(c.difference <= (cell.single ? kSingleBound : kDoubleBound));
      });
  if (!options.csv.empty()) table.write(options.csv);
  return failures == 0 ? 0 : 1;
}

void declare(CommandLine& line, Options& options) {
  line.positional("old", "the library that is compared with", options.old_path);
  line.positional("new", "the library that is compared; the same file will do", options.new_path);
  line.option("--cells", "SETS",
              "resizes: standard, own, ratios, thumbnails, small, sizes, with commas between, or none",
              options.cells);
  line.option("--size", "SIZES", "also every format and filter of a size, e.g. 1921x1081:777x555",
              [&options](const std::string& size) { options.sizes.push_back(size); });
  line.option("--random", "N", "also this many resizes drawn at random", options.random);
  line.option("--seed", "N", "what they are drawn from", options.seed);
  line.option("--conversions", "S", "standard, none, or sizes, e.g. 640x480,393x393", options.conversions);
  line.option("--filter", "REGEX", "only cells whose name this expression finds",
              [&options](const std::string& text) { options.filter = NameFilter(text); });
  line.option("--old-set", "SET",
              "kernel set of the old build: avx512 (no VBMI), avx2, sse2; else the processor's best",
              options.old_set);
  line.option("--new-set", "SET", "kernel set of the new build", options.new_set);
  line.option("--set", "SET", "kernel set of both",
              [&options](const std::string& set) { options.old_set = options.new_set = set; });
  line.option("--seconds", "S", "time for each cell; default 0.15", options.seconds);
  line.flag("--check-only", "compare the results, time nothing", [&options] { options.check_only = true; });
  line.option("--core", "N", "processor to run on; else the last one allowed", options.core);
  line.option("--data", "DIR", "folder with resize.tsv, own_cells.tsv and fft.tsv", options.data);
  line.option("--csv", "FILE", "write a table to this file", options.csv);
}

}  // namespace
}  // namespace kyv::bench

int main(int argc, char** argv) {
  try {
    kyv::bench::Options options;
    kyv::bench::CommandLine line("Compares two builds of the library");
    kyv::bench::declare(line, options);
    return line.parse(argc, argv) ? kyv::bench::run(options) : 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kyvmath_compare: %s\n", error.what());
    return 2;
  }
}
