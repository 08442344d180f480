#include <cmath>
#include <memory>
#include <numbers>

#include "kernels/trial.h"
#include "resize/kernels/kernels.h"

namespace kyv::kernels {
namespace {

constexpr double kBound = 4e-16;  // of the largest weight

double lanczos(double d) {
  if (d == 0.0) return 1.0;
  if (!(d < 3.0)) return 0.0;
  const long double x = std::numbers::pi_v<long double> * d;
  return static_cast<double>(std::sin(x) / x * (std::sin(x / 3) / (x / 3)));
}

struct Case {
  double centre;
  double first;
  double scale;
  std::vector<double> expected;
  Canaried<double> out;
};

std::string verdict_on_weights(const Case& c) {
  if (!c.out.intact()) return "wrote outside its memory";
  const std::vector<double> weights = c.out.values();
  for (std::size_t k = 0; k < weights.size(); ++k) {
    if (!(std::abs(weights[k] - c.expected[k]) <= kBound)) return "weight " + std::to_string(k) + " is off";
  }
  return {};
}

}  // namespace

void add_weight_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials) {
  for (const std::size_t count : {std::size_t{6}, std::size_t{24}, std::size_t{191}}) {
    const double scale = 6.0 / static_cast<double>(count);
    // Hard: a tap at distance 0, and taps at the zeros of the sine.
    const double centre = inputs == Inputs::kHard ? 100.0 : 100.0 + random.unit();
    const double first = std::ceil(centre - 3.0 / scale);
    const auto c = std::make_shared<Case>(
        Case{centre, first, scale, {}, Canaried<double>(count, resize::kLanczosSlack)});
    for (std::size_t k = 0; k < count; ++k) {
      c->expected.push_back(lanczos(std::abs(centre - (first + static_cast<double>(k))) * scale));
    }
    trials.push_back({"lanczos " + std::to_string(count) + " weights", static_cast<double>(count), "weight",
                      [c, count, kernel = set.resize->lanczos] {
                        kernel(c->centre, c->first, c->scale, static_cast<resize::Index>(count),
                               c->out.data());
                      },
                      [c] { return verdict_on_weights(*c); }});
  }
}

}  // namespace kyv::kernels
