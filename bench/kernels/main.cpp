// kyvmath_kernels [REGEX]: what each kernel costs, for every set that this processor runs. The trials are
// those that the tests compare with references.
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "common/host.h"
#include "common/name_filter.h"
#include "common/timing.h"
#include "kernels/trial.h"

namespace kyv::bench {
namespace {

// The same work by each kernel set.
struct Row {
  std::vector<std::pair<std::string, kernels::Trial>> sets;  // by name
};

// In the order of the trials.
std::vector<std::pair<std::string, Row>> rows_of(const NameFilter& filter) {
  std::vector<std::pair<std::string, Row>> rows;
  std::map<std::string, std::size_t> places;
  for (const runtime::KernelSet& set : runtime::all_kernel_sets()) {
    if (!runtime::machine_runs(set)) continue;
    for (kernels::Trial& trial : kernels::trials_of(set, kernels::Inputs::kPicture, 1)) {
      if (!filter.finds(trial.name)) continue;
      const auto [place, is_new] = places.try_emplace(trial.name, rows.size());
      if (is_new) rows.emplace_back(trial.name, Row{});
      rows[place->second].second.sets.emplace_back(set.name, std::move(trial));
    }
  }
  return rows;
}

void print_row(const std::string& name, const Row& row) {
  std::vector<Work> works;
  for (const auto& [set, trial] : row.sets) works.push_back(trial.run);
  const Effort effort{.seconds = 0.02, .min_rounds = 5, .sample_seconds = 2e-4};
  const std::vector<Timing> times = time_interleaved(std::span<const Work>(works), effort);
  std::printf("%-52s", name.c_str());
  for (std::size_t i = 0; i < times.size(); ++i) {
    const auto& [set, trial] = row.sets[i];
    std::printf("  %s %.3f", set.c_str(), 1e9 * times[i].minimum() / trial.units);
  }
  std::printf("  ns per %s\n", row.sets.front().second.unit);
  std::fflush(stdout);
}

int run(const NameFilter& filter) {
  const int core = pin_to_core();
  std::printf("%s, processor %d, %zu-bit program\n", processor_name().c_str(), core, 8 * sizeof(void*));
  for (const auto& [name, row] : rows_of(filter)) print_row(name, row);
  return 0;
}

}  // namespace
}  // namespace kyv::bench

int main(int argc, char** argv) {
  try {
    return kyv::bench::run(kyv::bench::NameFilter(argc > 1 ? argv[1] : ""));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kyvmath_kernels: %s\n", error.what());
    return 2;
  }
}
