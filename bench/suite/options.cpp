#include "suite/options.h"

#include <cstdlib>
#include <stdexcept>

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

}  // namespace

const char* usage() noexcept {
  return "kyvmath_bench [options]\n"
         "  --filter REGEX   only cells whose name matches, e.g. '^A 8uC3', '^fft .* double'\n"
         "  --variant NAME   scalar, sse2, avx2, avx512, avx512vbmi or all; default: the library's choice\n"
         "  --quick          fewer rounds\n"
         "  --seconds S      time to spend on each cell; default 0.3\n"
         "  --cells SETS     resizes: standard, own, ratios, thumbnails, small, sizes, with commas between, "
         "or\n"
         "                   none; default: standard,own\n"
         "  --conversions S  standard (default); random, 100 squares and 20 of a prime side; or sizes, e.g. "
         "393x393,\n"
         "                   1021x64. The latter are in double precision and beside the folder's peers "
         "alone\n"
         "  --placement P    arrays of conversions: malloc (default), aligned, misaligned (by 8 bytes) or "
         "both\n"
         "  --cold           the destination is not in the caches when a call begins\n"
         "  --heap           only time calls whose work memory held zeros, ones, denormals, not-a-numbers "
         "before\n"
         "  --no-peers       our own cells only\n"
         "  --peers DIR      folder with peers as libraries; default: the variable KYVMATH_PEERS\n"
         "  --check          also compare each variant's results with the scalar variant's\n"
         "  --check-only     compare, time nothing\n"
         "  --csv DIR        write resize.csv, fft.csv and machine.csv\n"
         "  --plots DIR      write SVG plots\n"
         "  --against DIR    compare with the tables that an earlier run left there\n"
         "  --core N         pin to processor N; default: the last one allowed\n"
         "  --data DIR       the folder with resize.tsv, fft.tsv and own_cells.tsv\n";
}

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
  for (int i = 1; i < argc; ++i) {
    const std::string flag = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 == argc) throw std::invalid_argument(flag + " needs a value");
      return argv[++i];
    };
    if (flag == "--help") return std::nullopt;
    if (flag == "--filter") {
      options.filter = std::regex(value());
    } else if (flag == "--variant") {
      options.variants = variants_named(value());
    } else if (flag == "--quick") {
      options.effort = kQuickEffort;
    } else if (flag == "--seconds") {
      options.effort.seconds = std::stod(value());
      options.effort.max_rounds = 1 << 20;
    } else if (flag == "--cells") {
      options.cells = value();
    } else if (flag == "--conversions") {
      options.conversions = value();
    } else if (flag == "--placement") {
      options.placements = placements_named(value());
    } else if (flag == "--cold") {
      options.cold = true;
    } else if (flag == "--heap") {
      options.heap = true;
    } else if (flag == "--peers") {
      options.peer_folder = value();
    } else if (flag == "--no-peers") {
      options.peers = false;
    } else if (flag == "--check") {
      options.check = true;
    } else if (flag == "--check-only") {
      options.check = true;
      options.timing = false;
    } else if (flag == "--csv") {
      options.csv = value();
    } else if (flag == "--plots") {
      options.plots = value();
    } else if (flag == "--against") {
      options.against = value();
    } else if (flag == "--core") {
      options.core = std::stoi(value());
    } else if (flag == "--data") {
      options.data = value();
    } else {
      throw std::invalid_argument("unknown option " + flag);
    }
  }
  return options;
}

}  // namespace kyv::bench
