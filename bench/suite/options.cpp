#include "suite/options.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "common/command_line.h"

namespace kyv::bench {
namespace {

std::vector<const runtime::KernelSet*> variants_named(const std::string& name) {
  std::vector<const runtime::KernelSet*> chosen;
  for (const runtime::KernelSet& set : runtime::all_kernel_sets()) {
    if ((name == "all" || name == set.name) && runtime::machine_runs(set)) chosen.push_back(&set);
  }
  if (chosen.empty()) throw std::invalid_argument("no variant '" + name + "' on this processor");
  return chosen;
}

std::vector<Placement> placements_named(const std::string& name) {
  if (name == "malloc") return {Placement::kMalloc};
  if (name == "aligned") return {Placement::kAligned};
  if (name == "misaligned") return {Placement::kMisaligned};
  if (name == "both") return {Placement::kAligned, Placement::kMisaligned};
  throw std::invalid_argument("no placement '" + name + "'");
}

void declare_cells(CommandLine& line, Options& options) {
  line.option("--filter", "REGEX", "only cells whose name matches, e.g. '^A 8uC3', '^fft .* double'",
              [&options](const std::string& text) { options.filter = NameFilter(text); });
  line.option("--variant", "NAME",
              "scalar, sse2, avx2, avx512, avx512vbmi or all; default: the library's choice",
              [&options](const std::string& name) { options.variants = variants_named(name); });
  line.option("--cells", "SETS",
              "resizes: standard, own, ratios, thumbnails, small, sizes, with commas between, or\n"
              "none; default: standard,own",
              options.cells);
  line.option("--conversions", "S",
              "standard (default); random, 100 squares and 20 of a prime side; or sizes, e.g. 393x393,\n"
              "1021x64. The latter are in double precision and beside the folder's peers alone",
              options.conversions);
  line.option("--placement", "P",
              "arrays of conversions: malloc (default), aligned, misaligned (by 8 bytes) or both",
              [&options](const std::string& name) { options.placements = placements_named(name); });
  line.option("--data", "DIR", "the folder with resize.tsv, fft.tsv and own_cells.tsv", options.data);
}

void declare_measuring(CommandLine& line, Options& options, double& seconds) {
  line.flag("--quick", "fewer rounds", [&options] { options.effort = kQuickEffort; });
  line.option("--seconds", "S", "time to spend on each cell, in as many rounds as fit; default 0.3", seconds);
  line.flag("--cold", "the destination is not in the caches when a call begins",
            [&options] { options.cold = true; });
  line.flag("--heap", "only time calls whose work memory held zeros, ones, denormals, not-a-numbers before",
            [&options] { options.heap = true; });
  line.flag("--no-peers", "our own cells only", [&options] { options.peers = false; });
  line.option("--peers", "DIR", "folder with peers as libraries; default: the variable KYVMATH_PEERS",
              options.peer_folder);
  line.option("--core", "N", "pin to processor N; default: the last one allowed", options.core);
}

void declare_results(CommandLine& line, Options& options) {
  line.flag("--check", "also compare each variant's results with the scalar variant's",
            [&options] { options.check = true; });
  line.flag("--check-only", "compare, time nothing", [&options] {
    options.check = true;
    options.timing = false;
  });
  line.option("--csv", "DIR", "write resize.csv, fft.csv and machine.csv", options.csv);
  line.option("--plots", "DIR", "write SVG plots", options.plots);
  line.option("--against", "DIR", "compare with the tables that an earlier run left there", options.against);
}

}  // namespace

peers::Level level_of(const runtime::KernelSet& variant) {
  const std::string name = variant.name;
  if (name.starts_with("avx512")) return peers::Level::kAvx512;
  return name == "avx2" ? peers::Level::kAvx2 : peers::Level::kBaseline;
}

peers::Level highest_level(const Options& options) {
  peers::Level highest = peers::Level::kBaseline;
  for (const runtime::KernelSet* variant : options.variants) highest = std::max(highest, level_of(*variant));
  return highest;
}

std::optional<Options> parse_options(int argc, char** argv) {
  Options options;
  options.data = KYVMATH_BENCH_DATA;
  options.variants = {&runtime::active_kernel_set()};
  if (const char* folder = std::getenv("KYVMATH_PEERS")) options.peer_folder = folder;
  CommandLine line("Times the library beside its peers");
  declare_cells(line, options);
  double seconds = 0.0;
  declare_measuring(line, options, seconds);
  declare_results(line, options);
  if (!line.parse(argc, argv)) return std::nullopt;
  if (seconds > 0.0) {
    options.effort.seconds = seconds;
    options.effort.max_rounds = 1 << 20;
  }
  return options;
}

}  // namespace kyv::bench
