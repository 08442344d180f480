#include "suite/goals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <utility>

#include "common/csv.h"

namespace kyv::bench {
namespace {

constexpr bool k64Bit = sizeof(void*) == 8;
bool is_avx512(const std::string& variant) { return variant == "avx512" || variant == "avx512vbmi"; }

constexpr double kSetupGoal = 0.25;  // of a small picture's call, at most

// The share of the roofline that a large picture is to reach, 0 where no goal is set.
double roof_goal(const CellResult& r) {
  if (r.service == Service::kConversion || !k64Bit) return 0.0;
  const bool large = r.workload == "A" || r.workload == "B";
  if (is_avx512(r.variant)) {
    if (r.workload == "I" || (large && r.kind == "nearest")) return 0.70;
    if (!large) return 0.0;
    if (r.kind == "lanczos3") return 0.45;
    return r.kind == "cubic" ? 0.35 : 0.25;
  }
  return r.variant == "avx2" && large && r.kind == "lanczos3" ? 0.55 : 0.0;
}

// What the ratios to the peers are to reach; 0 where no goal is set.
struct PeerGoals {
  double mean = 0.0;  // geometric mean, against every peer
  double other_mean =
      0.0;             // resizes: against the interleaved ones; conversions: against execution and copies
  double least = 0.0;  // of a single cell
};

PeerGoals goals_for(const CellResult& r) {
  const bool avx2 = r.variant == "avx2";
  if (!k64Bit || (!avx2 && !is_avx512(r.variant))) return {};
  if (r.service == Service::kConversion) {
    if (!r.best_is_measured) return {.mean = avx2 ? 1.6 : 2.2, .least = 1.0};
    return avx2 ? PeerGoals{.mean = 1.7, .other_mean = 1.5, .least = 1.05} : PeerGoals{.least = 1.0};
  }
  if (!r.best_is_measured) return {.mean = avx2 ? 1.4 : 2.0, .least = 1.0};
  if (r.workload == "R" || r.workload == "T") return {.mean = 1.7, .least = 0.95};
  if (r.workload == "P" || r.workload == "S") return {.mean = 1.3, .least = 1.0};
  return avx2 ? PeerGoals{.mean = 1.5, .least = 0.97}
              : PeerGoals{.mean = 1.8, .other_mean = 2.0, .least = 0.97};
}

bool is_behind(const CellResult& r) { return r.best_ratio < goals_for(r).least; }

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

void print_mean(const char* what, const GeometricMean& mean, double goal) {
  if (mean.count() == 0) return;
  std::printf("  times faster than the best %s: %.2f (geometric mean of %d)", what, mean.value(),
              mean.count());
  if (goal > 0.0) std::printf(", goal %.1f %s", goal, verdict(mean.value() >= goal));
  std::printf("\n");
}

// Cells of one kind are held against the same goals: those of the standard ones, of other sets.
void print_peer_goals(const std::vector<CellResult>& results, Service service) {
  const GeometricMean best = mean_of(results, [](const CellResult& r) { return r.best_ratio; });
  if (best.count() == 0) return;
  const PeerGoals goals = goals_for(results.front());
  const bool measured = results.front().best_is_measured;
  print_mean(measured ? "peer" : "known peer (estimate)", best, goals.mean);
  print_mean(service == Service::kResize ? "interleaved peer" : "peer's execution and copies",
             mean_of(results, [](const CellResult& r) { return r.other_ratio; }), goals.other_mean);
  const auto behind = std::count_if(results.begin(), results.end(), is_behind);
  if (goals.least > 0.0) {
    std::printf("  cells below %.2f of the best peer: %d %s\n", goals.least, static_cast<int>(behind),
                verdict(behind == 0));
  }
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

void print_setup_goal(const std::vector<CellResult>& results) {
  double worst = 0.0;
  for (const CellResult& r : results)
    worst = std::max(worst, std::isnan(r.setup_share) ? 0.0 : r.setup_share);
  if (worst == 0.0) return;
  std::printf("  set-up of small pictures: at most %.0f %% of the call, goal 25 %% %s\n", 100 * worst,
              verdict(worst <= kSetupGoal));
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

}  // namespace

std::string misses_of(const CellResult& r) {
  std::string misses;
  if (is_behind(r)) misses = "behind " + r.best_peer;
  const double goal = roof_goal(r);
  if (goal > 0.0 && r.roof_share < goal) {
    misses += (misses.empty() ? "" : "; ") + ("roof below " + figure(100 * goal) + " %");
  }
  if (r.setup_share > kSetupGoal) misses += (misses.empty() ? "" : "; ") + std::string("set-up");
  return misses;
}

void print_summary(const std::vector<CellResult>& results, Service service, const std::string& variant) {
  const std::vector<CellResult> own = only(results, service, variant);
  if (own.empty()) return;
  const bool resize = service == Service::kResize;
  std::printf("\n%s, %s, %zu-bit\n", resize ? "Resize" : "Conversion", variant.c_str(), 8 * sizeof(void*));
  const Select best = [](const CellResult& r) { return r.best_ratio; };
  print_peer_goals(own, service);
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
  if (resize) print_setup_goal(own);
  if (resize) print_scalar_goal(own, variant);
  print_against_goal(own, service);
}

}  // namespace kyv::bench
