#include "common/timing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "common/host.h"

namespace kyv::bench {
namespace {

double seconds_of(const Work& work, long calls) {
  const double start = now_seconds();
  for (long i = 0; i < calls; ++i) work();
  return now_seconds() - start;
}

double seconds_of(const PreparedWork& prepared, long calls) {
  double seconds = 0.0;
  for (long i = 0; i < calls; ++i) {
    if (prepared.prepare) prepared.prepare();
    seconds += seconds_of(prepared.work, 1);
  }
  return seconds;
}

void warm_up(const Work& work) { work(); }
void warm_up(const PreparedWork& prepared) { prepared.work(); }

// Calls that make one sample long enough for the clock.
template <class Candidate>
long calls_per_sample(const Candidate& candidate, double sample_seconds) {
  long calls = 1;
  for (;;) {
    const double seconds = seconds_of(candidate, calls);
    if (seconds >= sample_seconds) return calls;
    const double missing = sample_seconds / std::max(seconds, sample_seconds / 100.0);
    calls = std::max(calls + 1, static_cast<long>(static_cast<double>(calls) * missing * 1.1));
  }
}

template <class Candidate>
std::vector<Timing> run_rounds(std::span<const Candidate> candidates, const Effort& effort) {
  const std::size_t n = candidates.size();
  std::vector<std::vector<double>> samples(n);
  std::vector<long> calls(n);
  for (std::size_t c = 0; c < n; ++c) calls[c] = calls_per_sample(candidates[c], effort.sample_seconds);

  const double start = now_seconds();
  for (int round = 0; round < effort.max_rounds; ++round) {
    if (round >= effort.min_rounds && now_seconds() - start > effort.seconds) break;
    for (std::size_t turn = 0; turn < n; ++turn) {
      const std::size_t c = (turn + static_cast<std::size_t>(round)) % n;
      warm_up(candidates[c]);
      samples[c].push_back(seconds_of(candidates[c], calls[c]) / static_cast<double>(calls[c]));
    }
  }

  std::vector<Timing> timings;
  for (std::vector<double>& of_candidate : samples) timings.emplace_back(std::move(of_candidate));
  return timings;
}

double quantile_of(std::vector<double> values, double q) {
  const auto nth = static_cast<std::ptrdiff_t>(std::lround(q * static_cast<double>(values.size() - 1)));
  std::nth_element(values.begin(), values.begin() + nth, values.end());
  return values[static_cast<std::size_t>(nth)];
}

}  // namespace

double Timing::quantile(double q) const { return quantile_of(samples_, q); }
double Timing::minimum() const { return *std::min_element(samples_.begin(), samples_.end()); }
double Timing::median() const { return quantile(0.5); }
double Timing::noise() const { return quantile(0.25) / minimum() - 1.0; }

std::vector<Timing> time_interleaved(std::span<const Work> candidates, const Effort& effort) {
  return run_rounds(candidates, effort);
}

std::vector<Timing> time_interleaved(std::span<const PreparedWork> candidates, const Effort& effort) {
  return run_rounds(candidates, effort);
}

Timing time_alone(const Work& work, const Effort& effort) {
  return time_interleaved(std::span<const Work>(&work, 1), effort).front();
}

double paired_ratio(const Timing& a, const Timing& b) {
  std::vector<double> ratios(a.samples().size());
  std::transform(a.samples().begin(), a.samples().end(), b.samples().begin(), ratios.begin(),
                 [](double x, double y) { return x / y; });
  return quantile_of(std::move(ratios), 0.5);
}

}  // namespace kyv::bench
