#include <algorithm>
#include <memory>

#include "kernels/trial.h"
#include "resize/kernels/kernels.h"

namespace kyv::kernels {
namespace {

using resize::Index;
using resize::kShuffledBytes;

constexpr Index kPixels = 40;  // of a source row
constexpr Index kPadding = 3;  // bytes between rows

struct ShuffledCase {
  ShuffledCase(const resize::ShuffledKernels& kernels, resize::Depth depth, Index given_channels, Index taps,
               Inputs inputs, Random& random)
      : depth_bytes(resize::sample_bytes(depth)), channels(given_channels) {
    const Index pixel = channels * depth_bytes;
    args.step = kPixels * pixel + kPadding;
    random.fill_bytes(source =
                          std::vector<std::uint8_t>(u(args.step * (kernels.rows - 1) + kPixels * pixel)));
    args.source = source.data();
    args.usable_size = kPixels;
    fill_places(pixel, resize::shuffled_pixels(depth));
    // From a pixel whose taps all lie before the row to one whose taps all lie behind it.
    for (Index first = -taps - 1; first <= kPixels; ++first) {
      spans.push_back({first, static_cast<std::int32_t>(taps), static_cast<std::uint32_t>(spans.size() % 4)});
    }
    for (Index k = 0; k < 4 * taps; ++k) weights.push_back(some_weight(inputs, random));
    args.table = {spans.data(), weights.data(), taps};
    args.first = 1;
    args.count = static_cast<Index>(spans.size()) - 1;
    for (Index r = 0; r < kernels.rows; ++r) {
      results.emplace_back(u(args.count * channels), u(resize::kShuffledSlack));
    }
    for (Canaried<float>& row : results) targets.push_back(row.data());
    args.out = targets.data();
  }

  // For windows before, within and behind the row; every place repeats the outermost pixel where it must.
  void fill_places(Index pixel, Index window_pixels) {
    const Index reach = resize::shuffled_reach(pixel);
    for (Index distance = 1 - window_pixels; distance < reach; ++distance) {
      for (Index k = 0; k < window_pixels; ++k) {
        const Index before = std::max<Index>(distance + k, 0) * pixel;
        const Index behind = kShuffledBytes - std::max<Index>(reach - distance - k, 1) * pixel;
        for (Index byte = 0; byte < kShuffledBytes; ++byte) {
          const bool used = byte / 4 < channels && byte % 4 < depth_bytes;
          const Index place = (distance <= 0 ? before : behind) + byte / 4 * depth_bytes + byte % 4;
          places.push_back(used ? static_cast<std::uint8_t>(place) : resize::kNoPlace);
        }
      }
    }
    args.places = places.data() + (window_pixels - 1) * window_pixels * kShuffledBytes;
  }

  float sample(Index row, Index position, Index channel) const {
    const Index at = std::clamp<Index>(position, 0, kPixels - 1);
    const std::uint8_t* p = source.data() + row * args.step + (at * channels + channel) * depth_bytes;
    return static_cast<float>(depth_bytes == 1 ? p[0] : p[0] + 256 * p[1]);
  }

  std::string verdict() const {
    for (std::size_t row = 0; row < results.size(); ++row) {
      std::vector<float> expected;
      for (Index i = 1; i <= args.count; ++i) {
        const resize::TapSpan& span = spans[u(i)];
        const float* w = args.table.weights_of(span);
        for (Index channel = 0; channel < channels; ++channel) {
          std::vector<float> samples;
          for (Index k = 0; k < span.count; ++k)
            samples.push_back(sample(static_cast<Index>(row), span.first + k, channel));
          expected.push_back(reference_sum({w, w + span.count}, samples));
        }
      }
      const std::string wrong = verdict_on(results[row], expected);
      if (!wrong.empty()) return "row " + std::to_string(row) + ": " + wrong;
    }
    return {};
  }

  Index depth_bytes;
  Index channels;
  std::vector<std::uint8_t> source;
  std::vector<std::uint8_t> places;
  std::vector<resize::TapSpan> spans;
  std::vector<float> weights;
  std::vector<Canaried<float>> results;
  std::vector<float*> targets;
  resize::ShuffledArgs args;
};

}  // namespace

void add_shuffled_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials) {
  const resize::ShuffledKernels& kernels = set.resize->shuffled;
  if (kernels.rows == 0) return;
  for (const auto depth : {resize::kDepth8, resize::kDepth16}) {
    for (const auto channels : {resize::kThreeChannels, resize::kFourChannels}) {
      for (Index taps = 1; taps <= resize::kShuffledTaps; ++taps) {
        const auto c = std::make_shared<ShuffledCase>(
            kernels, depth, channels == resize::kFourChannels ? 4 : 3, taps, inputs, random);
        trials.push_back({std::string("shuffled ") + (depth == resize::kDepth8 ? "8 bits " : "16 bits ") +
                              std::to_string(c->channels) + " channels " + std::to_string(taps) + " taps",
                          static_cast<double>(taps * c->args.count * c->channels * kernels.rows),
                          "multiply-add", [c, kernel = kernels.pass[depth][channels]] { kernel(c->args); },
                          [c] { return c->verdict(); }});
      }
    }
  }
}

}  // namespace kyv::kernels
