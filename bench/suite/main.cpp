// The benchmark program: the machine, the resizes and the conversions beside their peers, in one run.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "KyvMath.h"
#include "common/host.h"
#include "peers/peers.h"
#include "suite/fft_bench.h"
#include "suite/goals.h"
#include "suite/heap_bench.h"
#include "suite/options.h"
#include "suite/plots.h"
#include "suite/resize_bench.h"
#include "suite/result.h"

namespace kyv::bench {
namespace {

void print_machine(const Machine& machine) {
  std::printf("%s, processor %d, %zu-bit program, single thread\n", machine.processor.c_str(), machine.core,
              8 * sizeof(void*));
  if (machine.core < 0) std::printf("not pinned: the figures may wander\n");
  for (const ArithmeticRate& rate : machine.arithmetic) {
    std::printf("%-7s %6.1f G multiply-adds/s float, %6.1f double\n", rate.variant.c_str(),
                rate.float_rate * 1e-9, rate.double_rate * 1e-9);
  }
  std::printf("copying, GB/s read and written:");
  for (const CopyRate& rate : machine.copy)
    std::printf("  %.3g MB %.0f", static_cast<double>(rate.bytes) / (1 << 20), rate.rate * 1e-9);
  std::printf("\n");
}

void print_peers(const peers::Peers& peers) {
  if (!peers.from_folder()) {
    std::printf("no folder of peers: ratios to the best peer (~) are estimates\n");
    return;
  }
  std::printf("peers:");
  for (const std::string& name : peers.names()) std::printf(" %s", name.c_str());
  std::printf("\n");
}

// Resizing needs the library started.
struct Started {
  Started() {
    if (KyvMathInitialize() != KYVMATH_OK) throw std::runtime_error("the library did not start");
  }
  Started(const Started&) = delete;
  Started& operator=(const Started&) = delete;
  ~Started() { KyvMathTerminate(); }
};

using ServiceBench = std::vector<CellResult> (*)(const Options&, const Machine&, const peers::Peers&);

// A service that fails must not cost the other one's figures.
int run_service(ServiceBench bench, const Options& options, const Machine& machine, const peers::Peers& peers,
                std::vector<CellResult>& results) {
  try {
    const std::vector<CellResult> own = bench(options, machine, peers);
    results.insert(results.end(), own.begin(), own.end());
    return 0;
  } catch (const std::runtime_error& error) {
    std::fprintf(stderr, "kyvmath_bench: %s\n", error.what());
    return 1;
  }
}

int run(const Options& options) {
  const Started started;
  const int core = pin_to_core(options.core);
  int failures = 0;
  if (options.check) failures = check_resize(options) + check_conversion(options);
  if (!options.timing) return failures == 0 ? 0 : 1;

  if (options.heap) return bench_heap(options);
  const Machine machine = measure_machine(core, Effort{.seconds = std::min(0.2, options.effort.seconds)});
  print_machine(machine);
  const peers::Peers peers(options.peers ? options.peer_folder : "");
  print_peers(peers);
  std::vector<CellResult> results;
  failures += run_service(bench_resize, options, machine, peers, results);
  failures += run_service(bench_conversion, options, machine, peers, results);
  if (!options.against.empty()) compare_with_earlier(results, options.against);
  for (const runtime::KernelSet* variant : options.variants) {
    print_summary(results, Service::kResize, variant->name);
    print_summary(results, Service::kConversion, variant->name);
  }
  if (!options.csv.empty()) {
    std::filesystem::create_directories(options.csv);
    write_results(results, machine, options.csv);
  }
  if (!options.plots.empty()) {
    std::filesystem::create_directories(options.plots);
    write_plots(results, options.plots);
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace
}  // namespace kyv::bench

int main(int argc, char** argv) {
  try {
    const std::optional<kyv::bench::Options> options = kyv::bench::parse_options(argc, argv);
    return options ? kyv::bench::run(*options) : 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kyvmath_bench: %s\n", error.what());
    return 2;
  }
}
