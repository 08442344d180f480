#include <algorithm>
#include <memory>

#include "kernels/trial.h"
#include "resize/kernels/kernels.h"

namespace kyv::kernels {
namespace {

using resize::Index;
using resize::TransposedKernels;

constexpr Index kOffset = 6;  // bytes or floats of a row before those that are worked on
constexpr Index kSamples = 148;
constexpr auto kSlack = static_cast<std::size_t>(resize::kTransposedSlack);

// Rows of exactly the samples that are read.
struct LoadCase {
  LoadCase(const TransposedKernels& kernels, resize::Depth depth, Random& random)
      : lanes(kernels.lanes),
        bytes(resize::sample_bytes(depth)),
        out(u(kSamples * lanes), kSlack * u(lanes)) {
    for (Index r = 0; r < lanes; ++r) {
      random.fill_bytes(rows.emplace_back(u(kOffset + kSamples * bytes)));
      pointers.push_back(rows.back().data());
    }
  }

  float sample(Index row, Index s) const {
    const std::uint8_t* p = rows[u(row)].data() + kOffset + s * bytes;
    return static_cast<float>(bytes == 1 ? p[0] : p[0] + 256 * p[1]);
  }

  Index lanes;
  Index bytes;
  std::vector<std::vector<std::uint8_t>> rows;
  std::vector<const std::uint8_t*> pointers;
  Canaried<float> out;
};

// The order of a pixel's vectors is the set's own: every value must be there once.
std::string verdict_on_load(LoadCase& c, resize::VectorContent content) {
  const Index group = content == resize::kPixelVectors ? 4 : 1;
  std::vector<float> values = c.out.values();
  std::vector<float> expected;
  for (Index s = 0; s < kSamples; ++s) {
    for (Index row = 0; row < c.lanes; ++row) expected.push_back(c.sample(row, s));
  }
  for (Index s = 0; s < kSamples && group > 1; s += group) {
    std::sort(values.begin() + s * c.lanes, values.begin() + (s + group) * c.lanes);
    std::sort(expected.begin() + s * c.lanes, expected.begin() + (s + group) * c.lanes);
  }
  return c.out.intact() ? difference(values, expected) : "wrote outside its memory";
}

// What `load` made of some rows goes back to rows.
struct StoreCase : LoadCase {
  StoreCase(const TransposedKernels& kernels, Random& random) : LoadCase(kernels, resize::kDepth16, random) {
    for (Index r = 0; r < lanes; ++r) results.emplace_back(u(kOffset + kSamples), kSlack);
    for (Canaried<float>& row : results) targets.push_back(row.data());
  }
  std::vector<Canaried<float>> results;
  std::vector<float*> targets;
};

std::string verdict_on_store(const StoreCase& c) {
  for (Index row = 0; row < c.lanes; ++row) {
    std::vector<float> expected = c.results[u(row)].values();
    for (Index s = 0; s < kSamples; ++s) expected[u(kOffset + s)] = c.sample(row, s);
    const std::string wrong = verdict_on(c.results[u(row)], expected);
    if (!wrong.empty()) return "row " + std::to_string(row) + ": " + wrong;
  }
  return {};
}

void add_copies(const TransposedKernels& kernels, Random& random, Trials& trials) {
  for (const auto content : {resize::kSampleVectors, resize::kPixelVectors}) {
    const std::string what = content == resize::kPixelVectors ? "pixels" : "samples";
    for (const auto depth : {resize::kDepth8, resize::kDepth16}) {
      const auto c = std::make_shared<LoadCase>(kernels, depth, random);
      trials.push_back({"transposed load " + what + (depth == resize::kDepth8 ? " 8 bits" : " 16 bits"),
                        double{kSamples}, "vector",
                        [c, kernel = kernels.load[depth][content]] {
                          kernel(c->pointers.data(), kOffset, kSamples, c->out.data(), c->lanes);
                        },
                        [c, content] { return verdict_on_load(*c, content); }});
    }
    const auto c = std::make_shared<StoreCase>(kernels, random);
    kernels.load[resize::kDepth16][content](c->pointers.data(), kOffset, kSamples, c->out.data(), c->lanes);
    trials.push_back({"transposed store " + what, double{kSamples}, "vector",
                      [c, kernel = kernels.store[content]] {
                        kernel(c->out.data(), c->lanes, kSamples, c->targets.data(), kOffset);
                      },
                      [c] { return verdict_on_store(*c); }});
  }
}

// Destination pixels of about `taps` taps each, one and a quarter source pixels apart.
struct SumCase {
  SumCase(Index taps, Index pixel_floats, bool exact, Inputs inputs, Random& random) : floats(pixel_floats) {
    for (Index i = 0; i < kPixels; ++i) {
      const auto count = static_cast<std::int32_t>(taps + (taps > 1 && i % 3 == 0 ? 1 : 0));
      spans.push_back({kOrigin + i * 5 / 4, count, static_cast<std::uint32_t>(i % kPhases)});
      multiply_adds += static_cast<double>(count) * static_cast<double>(floats);
    }
    const Index positions = spans.back().end() - kOrigin + 1;
    for (Index k = 0; k < positions * floats; ++k) samples.push_back(whole(random, 65536));
    for (Index k = 0; k < kPhases * (taps + 1); ++k)
      weights.push_back(exact ? (whole(random, 512) - 200.0F) * 0x1p-10F : some_weight(inputs, random));
    args.samples = samples.data();
    args.origin = kOrigin;
    args.table = {spans.data(), weights.data(), taps + 1};
    args.first = kFirst;
    args.count = kPixels - kFirst;
    out = Canaried<float>(u(args.count * floats));
    args.out = out.data();
  }

  static float whole(Random& random, std::uint32_t n) { return static_cast<float>(random.below(n)); }

  std::vector<float> expected() const {
    std::vector<float> sums;
    for (Index i = kFirst; i < kPixels; ++i) {
      const resize::TapSpan& span = spans[u(i)];
      const float* w = args.table.weights_of(span);
      for (Index k = 0; k < floats; ++k) {
        std::vector<float> taken;
        for (Index tap = 0; tap < span.count; ++tap)
          taken.push_back(samples[u((span.first - kOrigin + tap) * floats + k)]);
        sums.push_back(reference_sum({w, w + span.count}, taken));
      }
    }
    return sums;
  }

  static constexpr Index kOrigin = -3;
  static constexpr Index kFirst = 2;
  static constexpr Index kPixels = 43;
  static constexpr Index kPhases = 4;

  Index floats;
  double multiply_adds = 0.0;
  std::vector<resize::TapSpan> spans;
  std::vector<float> samples;
  std::vector<float> weights;
  resize::TransposedArgs args;
  Canaried<float> out{0};
};

void add_sums(const TransposedKernels& kernels, Inputs inputs, Random& random, Trials& trials) {
  const Index vectors[resize::kPixelSizes] = {1, 3 * kernels.rgb_groups, 4};
  constexpr const char* kNames[resize::kPixelSizes] = {"grey", "RGB", "RGBA"};
  for (const auto size : {resize::kOneVector, resize::kRgbVectors, resize::kFourVectors}) {
    for (const auto kind : {resize::kRoundedSums, resize::kExactSums}) {
      for (const Index taps : {1, 4, 8, 24, 131}) {
        const bool exact = kind == resize::kExactSums;
        const auto c = std::make_shared<SumCase>(taps, vectors[size] * kernels.lanes, exact, inputs, random);
        trials.push_back({std::string("transposed sum ") + kNames[size] + (exact ? " exact " : " ") +
                              std::to_string(taps) + " taps",
                          c->multiply_adds, "multiply-add",
                          [c, kernel = kernels.sum[size][kind]] { kernel(c->args); },
                          [c] { return verdict_on(c->out, c->expected()); }});
      }
    }
  }
}

}  // namespace

void add_transposed_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials) {
  add_copies(set.resize->transposed, random, trials);
  add_sums(set.resize->transposed, inputs, random, trials);
}

}  // namespace kyv::kernels
