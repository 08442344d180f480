#include <algorithm>
#include <limits>
#include <memory>

#include "kernels/trial.h"
#include "resize/kernels/kernels.h"

namespace kyv::kernels {
namespace {

using resize::Index;
using resize::kPermutedLanes;
using resize::kPermutedRows;

constexpr Index kGroups = 7;
constexpr Index kPatterns = 2;
constexpr Index kOrigin = -2;
constexpr Index kApart = 2;  // source pixels from lane to lane

struct PermutedShape {
  resize::Depth depth;
  resize::WindowSize window;
  Index pixels;  // of a lane
  Index channels;
  Index taps;
};

// Groups whose lanes' pixels lie kApart source pixels apart; the second pixels of the lanes one behind the
// first.
struct PermutedCase {
  PermutedCase(const resize::PermutedKernels& kernels, const PermutedShape& given, Inputs inputs,
               Random& random)
      : shape(given), bytes(resize::sample_bytes(given.depth)), lane_pixels(kPermutedLanes / given.channels) {
    const Index window_bytes = kernels.quarters ? resize::kQuarterBytes : resize::kWindowBytes[shape.window];
    fill_lanes(kernels, window_bytes / bytes);
    fill_weights(inputs, random);
    args.origin = kOrigin;
    args.pixel_bytes = shape.channels * bytes;
    args.window_step = args.window_positions * args.pixel_bytes;
    args.group_samples = lane_pixels * shape.pixels * shape.channels;
    args.channels = static_cast<std::int32_t>(shape.channels);
    for (Index i = 0; i < kGroups; ++i) {
      groups.push_back(
          {static_cast<std::int32_t>(kOrigin + i * 5), static_cast<std::uint32_t>(i % kPatterns)});
    }
    args.groups = groups.data();
    args.count = kGroups;
    fill_rows(window_bytes, random);
    fill_interleave();
  }

  Index place_of(Index lane) const {
    return lane / shape.channels * kApart * shape.channels + lane % shape.channels;
  }

  // A window serves as many positions as leave its farthest lane within it.
  void fill_lanes(const resize::PermutedKernels& kernels, Index window_samples) {
    const resize::PlaceCodes& codes = kernels.depth[shape.depth].codes;
    const Index used = lane_pixels * shape.channels;
    const Index sharing = shape.window == resize::kLaneWindows ? 1 : kernels.quarters ? 4 : kPermutedLanes;
    resize::PatternLanes places{};
    std::fill_n(places.codes, kPermutedLanes, codes.first);
    Index widest = 0;
    for (Index lane = 0; lane < used; ++lane) {
      const Index window = place_of(lane / sharing * sharing);
      const Index place = place_of(lane) - window;
      places.codes[lane] = codes.first + static_cast<std::uint32_t>(place) * codes.step;
      places.windows[lane / std::min<Index>(sharing, 4)] = static_cast<std::int32_t>(window * bytes);
      widest = std::max(widest, place + 1);
    }
    lanes.assign(kPatterns, places);
    args.lanes = lanes.data();
    args.code_step = static_cast<std::int32_t>(shape.channels) * static_cast<std::int32_t>(codes.step);
    args.window_positions = static_cast<std::int32_t>((window_samples - widest) / shape.channels + 1);
  }

  void fill_weights(Inputs inputs, Random& random) {
    args.taps[0] = static_cast<std::int32_t>(shape.taps);
    args.taps[1] = shape.pixels == 2 ? args.taps[0] : 0;
    args.lead = shape.pixels == 2 ? 1 : 0;
    args.weights_stride = (args.taps[0] + args.taps[1]) * kPermutedLanes;
    for (Index k = 0; k < kPatterns * args.weights_stride; ++k)
      weights.push_back(some_weight(inputs, random));
    args.weights = weights.data();
  }

  // Rows end with the last window.
  void fill_rows(Index window_bytes, Random& random) {
    const Index positions = shape.taps + args.lead;
    const Index windows = (positions - 1) / args.window_positions;
    const Index farthest = *std::max_element(lanes[0].windows, lanes[0].windows + kPermutedLanes);
    const Index row_bytes = (groups.back().first - kOrigin) * args.pixel_bytes + windows * args.window_step +
                            farthest + window_bytes;
    for (Index row = 0; row < kPermutedRows; ++row) {
      random.fill_bytes(rows.emplace_back(u(row_bytes)));
      pointers.push_back(rows.back().data());
      results.emplace_back(u(kGroups * args.group_samples), u(resize::kPermutedSlack));
    }
    for (Canaried<float>& row : results) targets.push_back(row.data());
    args.rows = pointers.data();
    args.out = targets.data();
  }

  void fill_interleave() {
    constexpr auto kLanes = static_cast<std::int32_t>(kPermutedLanes);
    for (std::int32_t i = 0; i < 2 * lane_pixels * shape.channels; ++i) {
      const auto channels = static_cast<std::int32_t>(shape.channels);
      const std::int32_t pixel = i / channels;
      const std::int32_t second = pixel % 2 == 0 ? 0 : std::numeric_limits<std::int32_t>::min() + kLanes;
      interleave[i] = pixel / 2 * channels + i % channels + second;
    }
    args.interleave = interleave;
  }

  float sample(Index row, Index position, Index at) const {
    const std::uint8_t* p = rows[u(row)].data() + (position - kOrigin) * args.pixel_bytes + at * bytes;
    return static_cast<float>(bytes == 1 ? p[0] : p[0] + 256 * p[1]);
  }

  float expected(Index row, Index group, Index pixel, Index channel) const {
    const Index second = pixel % shape.pixels;
    const Index lane = pixel / shape.pixels * shape.channels + channel;
    const float* w = args.weights + groups[u(group)].pattern * args.weights_stride +
                     (second * args.taps[0]) * kPermutedLanes + lane;
    std::vector<float> lane_weights;
    std::vector<float> samples;
    for (Index tap = 0; tap < shape.taps; ++tap) {
      lane_weights.push_back(w[tap * kPermutedLanes]);
      samples.push_back(sample(row, groups[u(group)].first + second * args.lead + tap, place_of(lane)));
    }
    return reference_sum(lane_weights, samples);
  }

  std::string verdict() const {
    for (Index row = 0; row < kPermutedRows; ++row) {
      std::vector<float> values;
      for (Index group = 0; group < kGroups; ++group) {
        for (Index pixel = 0; pixel < lane_pixels * shape.pixels; ++pixel) {
          for (Index channel = 0; channel < shape.channels; ++channel)
            values.push_back(expected(row, group, pixel, channel));
        }
      }
      const std::string wrong = verdict_on(results[u(row)], values);
      if (!wrong.empty()) return "row " + std::to_string(row) + ": " + wrong;
    }
    return {};
  }

  double multiply_adds() const {
    return static_cast<double>(shape.taps * kPermutedRows * kGroups * args.group_samples);
  }

  PermutedShape shape;
  Index bytes;
  Index lane_pixels;  // pixels of the lanes, one each
  std::vector<resize::PermutedGroup> groups;
  std::vector<resize::PatternLanes> lanes;
  std::vector<float> weights;
  std::vector<std::vector<std::uint8_t>> rows;
  std::vector<const std::uint8_t*> pointers;
  std::vector<Canaried<float>> results;
  std::vector<float*> targets;
  std::int32_t interleave[2 * resize::kPermutedLanes] = {};
  resize::PermutedArgs args;
};

std::string words_of(const PermutedShape& shape) {
  return std::string("permuted ") + (shape.depth == resize::kDepth8 ? "8" : "16") + " bits " +
         (shape.window == resize::kWideWindow     ? "wide "
          : shape.window == resize::kNarrowWindow ? "narrow "
                                                  : "lane windows ") +
         std::to_string(shape.pixels) + (shape.pixels == 1 ? " pixel " : " pixels ") +
         std::to_string(shape.channels) + " channels " + std::to_string(shape.taps) + " taps";
}

}  // namespace

void add_permuted_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials) {
  const resize::PermutedKernels& kernels = set.resize->permuted;
  for (const auto depth : {resize::kDepth8, resize::kDepth16}) {
    for (const auto window : {resize::kNarrowWindow, resize::kWideWindow, resize::kLaneWindows}) {
      const bool is_lanes = window == resize::kLaneWindows;  // of grey, in fours
      for (const Index pixels : {1, 2}) {
        resize::PermutedPass* const pass = kernels.depth[depth].pass[window][pixels - 1];
        if (pass == nullptr) continue;
        for (const Index channels : {1, 3, 4}) {
          if (is_lanes && channels != 1) continue;
          for (const Index taps : {1, 4, 7, 24}) {
            if (is_lanes && taps % resize::kLaneWindowTaps != 0) continue;
            const PermutedShape shape = {depth, window, pixels, channels, taps};
            const auto c = std::make_shared<PermutedCase>(kernels, shape, inputs, random);
            trials.push_back({words_of(shape), c->multiply_adds(), "multiply-add",
                              [c, pass] { pass(c->args); }, [c] { return c->verdict(); }});
          }
        }
      }
    }
  }
}

}  // namespace kyv::kernels
