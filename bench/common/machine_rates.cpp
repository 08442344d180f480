#include "common/machine_rates.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "common/rates/rates.h"
#include "runtime/dispatch.h"

namespace kyv::bench {

extern const Rates rates_scalar;
extern const Rates rates_sse2;
extern const Rates rates_avx2;
extern const Rates rates_avx512;

namespace {

const Rates& rates_of(const std::string& variant) {
  if (variant == "avx512" || variant == "avx512vbmi") return rates_avx512;
  if (variant == "avx2") return rates_avx2;
  if (variant == "sse2") return rates_sse2;
  return rates_scalar;
}

constexpr std::int32_t kSteps = 20000;

ArithmeticRate measure(const std::string& variant, const Effort& effort) {
  const Rates& rates = rates_of(variant);
  // a*a + a creeps from -0.1 towards 0 as -1/n does: no overflow, no denormals.
  std::vector<float> floats(static_cast<std::size_t>(rates.float_state), -0.1f);
  std::vector<double> doubles(static_cast<std::size_t>(rates.double_state), -0.1);
  const Work works[] = {[&] { rates.float_multiply_adds(floats.data(), kSteps); },
                        [&] { rates.double_multiply_adds(doubles.data(), kSteps); }};
  const std::vector<Timing> timings = time_interleaved(works, effort);
  const double float_ops = static_cast<double>(kSteps) * rates.float_state;
  const double double_ops = static_cast<double>(kSteps) * rates.double_state;
  return {variant, float_ops / timings[0].minimum(), double_ops / timings[1].minimum()};
}

}  // namespace

std::vector<ArithmeticRate> measure_arithmetic_rates(const Effort& effort) {
  std::vector<ArithmeticRate> rates;
  for (const runtime::KernelSet& set : runtime::all_kernel_sets()) {
    if (runtime::machine_runs(set)) rates.push_back(measure(set.name, effort));
  }
  return rates;
}

std::vector<CopyRate> measure_copy_rates(const Effort& effort) {
  constexpr std::size_t kSizes[] = {12u << 10, 64u << 10, 256u << 10, 1u << 20, 4u << 20,
                                    10u << 20, 16u << 20, 32u << 20,  96u << 20};
  constexpr std::size_t kLargest = 96u << 20;
  constexpr std::size_t kLine = 64;
  const Rates& rates = rates_of(runtime::active_kernel_set().name);

  std::vector<unsigned char> memory(2 * kLargest + 2 * kLine, 1);
  void* start = memory.data();
  std::size_t space = memory.size();
  auto* const src = static_cast<unsigned char*>(std::align(kLine, 2 * kLargest, start, space));

  std::vector<CopyRate> result;
  for (const std::size_t bytes : kSizes) {
    unsigned char* const dst = src + bytes;
    const Work works[] = {[&] {
                            std::memcpy(dst, src, bytes);
                            keep(dst);
                          },
                          [&] { rates.copy(dst, src, bytes); },
                          [&] { rates.copy_streaming(dst, src, bytes); }};
    double best = 0.0;
    for (const Timing& timing : time_interleaved(works, effort)) {
      best = std::max(best, 2.0 * static_cast<double>(bytes) / timing.minimum());
    }
    result.push_back({bytes, best});
  }
  return result;
}

double copy_rate_for(const std::vector<CopyRate>& rates, double traffic) {
  const double bytes = traffic / 2.0;
  const auto above = std::find_if(rates.begin(), rates.end(), [bytes](const CopyRate& r) {
    return static_cast<double>(r.bytes) >= bytes;
  });
  if (above == rates.begin()) return rates.front().rate;
  if (above == rates.end()) return rates.back().rate;
  const CopyRate& low = *(above - 1);
  const double t = std::log(bytes / static_cast<double>(low.bytes)) /
                   std::log(static_cast<double>(above->bytes) / static_cast<double>(low.bytes));
  return low.rate + t * (above->rate - low.rate);
}

}  // namespace kyv::bench
