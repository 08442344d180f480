// Timing of several ways to do one thing, so that their ratios can be trusted on a busy machine.
#pragma once

#include <functional>
#include <span>
#include <vector>

namespace kyv::bench {

using Work = std::function<void()>;

// How much time a contest may take.
struct Effort {
  double seconds = 0.3;  // for all candidates of a contest together
  int min_rounds = 5;    // kept even where they take longer than that
  int max_rounds = 200;
  double sample_seconds = 2e-3;  // short work is repeated until one sample takes at least this long
};

inline constexpr Effort kQuickEffort{.seconds = 0.05, .min_rounds = 3};

// The seconds per call of one candidate, one value per round.
class Timing {
 public:
  explicit Timing(std::vector<double> samples) : samples_(std::move(samples)) {}

  double minimum() const;
  double median() const;
  // How far the fastest quarter of the rounds spreads above the minimum, as a share of the minimum:
  // differences between two candidates that are smaller than this mean nothing.
  double noise() const;
  std::span<const double> samples() const { return samples_; }

 private:
  double quantile(double q) const;

  std::vector<double> samples_;
};

// Runs the candidates in turn, round after round and each round in another order, so that a change of
// the machine's speed meets all of them alike. Every sample follows an untimed call of the same
// candidate, which brings its own data back into the caches as repeated calls would find them.
std::vector<Timing> time_interleaved(std::span<const Work> candidates, const Effort& effort);

// Work that needs something done before each call, which is not timed.
struct PreparedWork {
  Work prepare;  // may be empty
  Work work;
};

// The same with every call timed on its own.
std::vector<Timing> time_interleaved(std::span<const PreparedWork> candidates, const Effort& effort);

Timing time_alone(const Work& work, const Effort& effort);

// The median over the rounds of a's time over b's in the same round; both from one contest.
double paired_ratio(const Timing& a, const Timing& b);

// Keeps the compiler from discarding what was computed at `p`.
inline void keep(const void* p) noexcept { asm volatile("" : : "r"(p) : "memory"); }

}  // namespace kyv::bench
