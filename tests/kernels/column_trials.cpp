#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "kernels/trial.h"
#include "resize/kernels/kernels.h"

namespace kyv::kernels {
namespace {

using SumKind = resize::ColumnSumKind;

constexpr std::size_t kSamples = 517;
constexpr auto kSlack = static_cast<std::size_t>(resize::kColumnSlack);

struct ColumnShape {
  int taps[2];  // 0 for no second row
  int lead;
};
constexpr ColumnShape kShapes[] = {{{1, 0}, 0}, {{6, 0}, 0}, {{24, 0}, 0}, {{128, 0}, 0},
                                   {{2, 2}, 1}, {{6, 6}, 2}, {{24, 24}, 4}};

// Row results whose slack would spoil every sum that it got into.
struct ColumnCase {
  ColumnCase(const ColumnShape& given, SumKind kind, Inputs inputs, Random& random) : shape(given) {
    const int rows = std::max(shape.taps[0], shape.lead + shape.taps[1]);
    for (int k = 0; k < rows; ++k) {
      std::vector<float>& row =
          results.emplace_back(kSamples + kSlack, std::numeric_limits<float>::quiet_NaN());
      std::generate_n(row.begin(), kSamples, [&] { return some_sample(inputs, random); });
    }
    for (const std::vector<float>& row : results) pointers.push_back(row.data());
    args.rows = pointers.data();
    args.lead = shape.lead;
    args.samples = static_cast<resize::Index>(kSamples);
    args.kind = kind;
    for (int r = 0; r < 2; ++r) {
      for (int k = 0; k < shape.taps[r]; ++k) {
        const float weight = some_weight(inputs, random);
        // Few places: every sum of products fits a double, and many lie half-way between two floats.
        weights[r].push_back(kind == SumKind::kExact ? std::nearbyint(weight * 4096.0F) / 4096.0F : weight);
      }
      args.weights[r] = weights[r].data();
      args.count[r] = shape.taps[r];
    }
  }

  std::vector<float> sums(int r) const {
    std::vector<float> sums;
    for (std::size_t x = 0; x < kSamples; ++x) {
      std::vector<float> samples;
      for (int k = 0; k < shape.taps[r]; ++k) {
        samples.push_back(results[static_cast<std::size_t>(k + (r == 0 ? 0 : shape.lead))][x]);
      }
      sums.push_back(reference_sum(weights[r], samples));
    }
    return sums;
  }
  double multiply_adds() const { return static_cast<double>(kSamples) * (shape.taps[0] + shape.taps[1]); }

  ColumnShape shape;
  std::vector<std::vector<float>> results;
  std::vector<const float*> pointers;
  std::vector<float> weights[2];
  resize::ColumnArgs args;
};

template <class Sample>
std::vector<Sample> rounded(const std::vector<float>& values) {
  std::vector<Sample> samples;
  for (const float value : values) {
    const double whole = std::nearbyint(static_cast<double>(value));
    samples.push_back(
        static_cast<Sample>(std::clamp<double>(whole, 0.0, std::numeric_limits<Sample>::max())));
  }
  return samples;
}

std::string words_of(const ColumnShape& shape) {
  const std::string second = shape.taps[1] == 0 ? "" : " and " + std::to_string(shape.taps[1]);
  return std::to_string(shape.taps[0]) + second + " taps";
}

template <class Sample>
void add_sums(const resize::ColumnKernels& kernels, SumKind kind, Inputs inputs, Random& random,
              Trials& trials) {
  constexpr auto kDepth = sizeof(Sample) == 1 ? resize::kDepth8 : resize::kDepth16;
  for (const ColumnShape& shape : kShapes) {
    struct Case : ColumnCase {
      using ColumnCase::ColumnCase;
      Canaried<Sample> dst[2] = {Canaried<Sample>(kSamples, 0, 2), Canaried<Sample>(kSamples, 0, 4)};
    };
    const auto c = std::make_shared<Case>(shape, kind, inputs, random);
    for (int r = 0; r < 2; ++r) c->args.dst[r] = c->dst[r].data();
    const char* const exact = kind == SumKind::kExact ? "exact " : "";
    trials.push_back(
        {"columns sum " + std::to_string(8 * sizeof(Sample)) + " bits " + exact + words_of(shape),
         c->multiply_adds(), "multiply-add", [c, kernel = kernels.sum[kDepth]] { kernel(c->args); },
         [c] {
           const std::string first = verdict_on(c->dst[0], rounded<Sample>(c->sums(0)));
           if (c->shape.taps[1] == 0 || !first.empty()) return first;
           return verdict_on(c->dst[1], rounded<Sample>(c->sums(1)));
         }});
  }
}

void add_blocks(const resize::ColumnKernels& kernels, Inputs inputs, Random& random, Trials& trials) {
  struct Case : ColumnCase {
    using ColumnCase::ColumnCase;
    Canaried<float> totals{kSamples, kSlack};
    std::vector<float> before;
  };
  for (const bool first : {true, false}) {
    const auto c = std::make_shared<Case>(ColumnShape{{100, 0}, 0}, SumKind::kAny, inputs, random);
    for (std::size_t x = 0; x < kSamples + kSlack; ++x) c->before.push_back(some_sample(inputs, random));
    const auto run = [c, first, kernel = kernels.add_block] {
      std::copy(c->before.begin(), c->before.end(), c->totals.data());
      kernel(c->args, first, c->totals.data());
    };
    const auto verdict = [c, first] {
      std::vector<float> expected = c->sums(0);
      for (std::size_t x = 0; x < kSamples && !first; ++x) expected[x] = c->before[x] + expected[x];
      return verdict_on(c->totals, expected);
    };
    trials.push_back({first ? "columns first block" : "columns further block", c->multiply_adds(),
                      "multiply-add", run, verdict});
  }
}

template <class Sample>
void add_rounding(const resize::ColumnKernels& kernels, Inputs inputs, Random& random, Trials& trials) {
  constexpr auto kDepth = sizeof(Sample) == 1 ? resize::kDepth8 : resize::kDepth16;
  struct Case {
    std::vector<float> totals =
        std::vector<float>(kSamples + kSlack, std::numeric_limits<float>::quiet_NaN());
    Canaried<Sample> dst{kSamples, 0, 6};
  };
  const auto c = std::make_shared<Case>();
  std::generate_n(c->totals.begin(), kSamples, [&] { return some_sample(inputs, random) * 0.5F; });
  trials.push_back({"columns round " + std::to_string(8 * sizeof(Sample)) + " bits", double{kSamples},
                    "sample",
                    [c, kernel = kernels.round[kDepth]] {
                      kernel(c->totals.data(), resize::Index{kSamples}, c->dst.data());
                    },
                    [c] {
                      const std::vector<float> totals(c->totals.begin(), c->totals.begin() + kSamples);
                      return verdict_on(c->dst, rounded<Sample>(totals));
                    }});
}

}  // namespace

void add_column_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials) {
  const resize::ColumnKernels& kernels = set.resize->columns;
  const bool hard = inputs == Inputs::kHard;
  const auto kinds = hard ? std::vector{SumKind::kAny} : std::vector{SumKind::kNormal, SumKind::kExact};
  for (const SumKind kind : kinds) {
    add_sums<std::uint8_t>(kernels, kind, inputs, random, trials);
    add_sums<std::uint16_t>(kernels, kind, inputs, random, trials);
  }
  add_blocks(kernels, inputs, random, trials);
  add_rounding<std::uint8_t>(kernels, inputs, random, trials);
  add_rounding<std::uint16_t>(kernels, inputs, random, trials);
}

}  // namespace kyv::kernels
