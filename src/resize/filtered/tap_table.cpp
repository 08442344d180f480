#include "resize/filtered/tap_table.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "resize/rounding.h"

namespace kyv::resize {
namespace {

constexpr double kFarthest = 1099511627776.0;  // 2^40: beyond every position of a real request

double base_radius(Mode mode) noexcept {
  switch (mode) {
    case Mode::kLinear:
      return 1.0;
    case Mode::kCubic:
    case Mode::kBSpline:
      return 2.0;
    case Mode::kLanczos:
      return 3.0;
    default:
      return 0.0;
  }
}

// The reach of a destination index on one axis, in source positions counted from the region's origin.
// Super-sampling: the ends of the box. Other modes: the centre (twice).
struct Placement {
  double low = 0.0;
  double high = 0.0;
};

double bounded(double position) noexcept {
  return position > -kFarthest ? std::min(position, kFarthest) : -kFarthest;
}

Placement place(const AxisGeometry& axis, Mode mode, std::int32_t i) noexcept {
  const double index = static_cast<double>(axis.first) + static_cast<double>(i);
  const double origin = axis.origin;
  if (mode == Mode::kSuper) {
    return {bounded(index * axis.inverse + axis.offset - origin),
            bounded((index + 1.0) * axis.inverse + axis.offset - origin)};
  }
  const double offset = axis.offset - 0.5 - origin;
  const double centre = bounded((index + 0.5) * axis.inverse + offset);
  return {centre, centre};
}

// Evaluates the rows of one table.
class Filter {
 public:
  Filter(const AxisGeometry& axis, Mode mode, const Kernels& kernels) noexcept
      : mode_(mode),
        radius_(base_radius(mode) * std::max(axis.inverse, 1.0)),
        scale_(axis.inverse >= 1.0 ? 1.0 / axis.inverse : 1.0),
        kernels_(kernels) {}

  // First tap and one past the last, as whole numbers.
  std::array<double, 2> range(const Placement& at) const noexcept {
    if (mode_ == Mode::kSuper) return {floor_of(at.low), ceil_of(at.high)};
    return {ceil_of(at.low - radius_), trunc_of(at.low + radius_) + 1.0};
  }

  // Weights of `count` taps from `first` on, before they are normalised.
  void evaluate(const Placement& at, double first, std::int32_t count, double* out) const noexcept {
    const auto fill = [&](auto weight_at) noexcept {
      for (std::int32_t tap = 0; tap < count; ++tap) out[tap] = weight_at(first + static_cast<double>(tap));
    };
    const auto distance = [&](double n) noexcept { return std::abs(at.low - n) * scale_; };
    switch (mode_) {
      case Mode::kSuper:
        return fill([&](double n) noexcept { return std::min(at.high, n + 1.0) - std::max(at.low, n); });
      case Mode::kLinear:
        return fill([&](double n) noexcept { return linear(distance(n)); });
      case Mode::kCubic:
        return fill([&](double n) noexcept { return cubic(distance(n)); });
      case Mode::kBSpline:
        return fill([&](double n) noexcept { return b_spline(distance(n)); });
      default:
        return kernels_.lanczos(at.low, first, scale_, count, out);
    }
  }

 private:
  static double linear(double d) noexcept { return d < 1.0 ? 1.0 - d : 0.0; }

  static double cubic(double d) noexcept {
    if (d >= 2.0) return 0.0;
    if (d < 1.0) return (0.5 * d * d - d - 0.5) * d + 1.0;
    return (-0.16666666666666666 * d * d + d - 1.8333333333333333) * d + 1.0;
  }

  static double b_spline(double d) noexcept {
    if (d >= 2.0) return 0.0;
    if (d < 1.0) return (0.5 * d * d - d) * d + 0.6666666666666666;
    return (-0.16666666666666666 * d * d + d) * d + (1.3333333333333333 - 2.0 * d);
  }

  Mode mode_;
  double radius_;
  double scale_;
  const Kernels& kernels_;
};

// Recently built rows of weights. Two destination indices have the same weights bit for bit when their
// placements relative to the first tap are the same real numbers: every weight is then computed from the
// same rounded distances. Relative placements are exact for positions from 0 on.
class PhaseCache {
 public:
  struct Entry {
    double low;
    double high;
    double lead;  // first tap, counted from the floor of the placement
    std::int32_t count;
    std::uint32_t phase;

    bool has_weights_of(const Entry& other) const noexcept {
      return low == other.low && high == other.high && lead == other.lead && count == other.count;
    }
  };

  // The phase of the row of the same weights, or that of `wanted`, which is remembered.
  std::uint32_t phase_of(const Entry& wanted) noexcept {
    const std::uint64_t bits = std::bit_cast<std::uint64_t>(wanted.low) * 0x9E3779B97F4A7C15u;
    const auto slot = static_cast<std::uint32_t>(bits >> 58);
    const std::uint64_t bit = std::uint64_t{1} << slot;
    Entry& entry = entries_[slot];
    if ((used_ & bit) == 0 || !entry.has_weights_of(wanted)) entry = wanted;
    used_ |= bit;
    return entry.phase;
  }

 private:
  std::uint64_t used_ = 0;  // a bit for each entry; the others are not even cleared
  Entry entries_[64];
};

constexpr std::int32_t kLongestPeriod = 8;

// Where the inverse factor is a multiple of 1/8, placements are exact doubles, and after so many indices they
// are the same again, relative to taps so many positions further on: from position 0 on, since ranges are
// rounded towards it. No indices: there is no such period.
struct Period {
  std::int32_t indices = 0;
  std::int64_t positions = 0;
};

Period period_of(const AxisGeometry& axis) noexcept {
  constexpr double kLargestInverse = 65536.0;  // whose products with every index are exact
  if (axis.offset != 0.0 || axis.inverse > kLargestInverse) return {};
  for (std::int32_t indices = 1; indices <= kLongestPeriod; indices *= 2) {
    const double positions = axis.inverse * indices;
    if (positions == floor_of(positions)) return {indices, integer_of(positions)};
  }
  return {};
}

// The exponent of the lowest bit of `weight` that is set, if it is above 0; 0 for a weight of 0.
std::int32_t last_place_of(float weight) noexcept {
  const auto bits = std::bit_cast<std::uint32_t>(weight) << 1 >> 1;
  if (bits == 0) return 0;
  // Of a number below the normal ones, too: its exponent field counts as 1.
  const auto exponent = static_cast<std::int32_t>(std::max(bits >> 23, 1u));
  return exponent - 150 + std::countr_zero(bits | 0x800000u);
}

Index clamp_first(std::int64_t first, std::int32_t count, std::int32_t usable_size) noexcept {
  return static_cast<Index>(std::clamp<std::int64_t>(first, 1 - count, usable_size - 1));
}

// Fills the spans from `begin` on from the period before them, whose first taps are `firsts`.
void repeat_spans(TapSpan* spans, const AxisGeometry& axis, const Period& period, std::int32_t begin,
                  const std::int64_t* firsts) noexcept {
  for (std::int32_t from = begin - period.indices; from < begin; ++from) {
    const TapSpan& model = spans[from];
    std::int64_t first = firsts[from % kLongestPeriod];
    for (std::int32_t i = from + period.indices; i < axis.count; i += period.indices) {
      first += period.positions;
      spans[i] = {clamp_first(first, model.count, axis.usable_size), model.count, model.phase};
    }
  }
}

}  // namespace

std::uint64_t tap_room(const AxisGeometry& axis, Mode mode) noexcept {
  const double inverse = axis.inverse > 1.0 ? std::min(axis.inverse, kFarthest) : 1.0;
  const double reach =
      mode == Mode::kSuper ? ceil_of(inverse) + 2.0 : 2.0 * ceil_of(base_radius(mode) * inverse) + 1.0;
  return static_cast<std::uint64_t>(integer_of(reach));
}

TapTableRoom take_tap_table(runtime::Arena& arena, const AxisGeometry& axis, Mode mode) noexcept {
  const std::uint64_t room = tap_room(axis, mode);
  const auto count = static_cast<std::uint64_t>(axis.count);
  const std::uint64_t stride = (room + 3) / 4 * 4;
  TapTableRoom storage;
  storage.stride = static_cast<Index>(stride);
  storage.spans = arena.take<TapSpan>(count);
  storage.weights = arena.take<float>(stride * count);
  storage.scratch = arena.take<double>(room + kLanczosSlack + 1);
  return storage;
}

BuiltTable build_tap_table(const TapTableRoom& storage, const AxisGeometry& axis, Mode mode,
                           const Kernels& kernels) noexcept {
  const Filter filter(axis, mode, kernels);
  const auto room = static_cast<double>(tap_room(axis, mode));
  PhaseCache cache;
  std::uint32_t phases = 0;
  BuiltTable built{.table = {storage.spans, storage.weights, storage.stride}};
  const Period period = period_of(axis);
  std::int32_t begin = period.indices != 0 ? period.indices : axis.count;  // of what is repeated
  std::int64_t firsts[kLongestPeriod];
  for (std::int32_t i = 0; i < std::min(begin, axis.count); ++i) {
    const Placement at = place(axis, mode, i);
    if (at.low < 0.0 && period.indices != 0) begin = i + 1 + period.indices;
    const auto [first, end] = filter.range(at);
    const auto count = static_cast<std::int32_t>(std::clamp(end - first, 1.0, room));
    TapSpan& span = storage.spans[i];
    const std::int64_t position = integer_of(first);
    firsts[i % kLongestPeriod] = position;
    span.first = clamp_first(position, count, axis.usable_size);
    span.count = count;
    built.most_taps = std::max<Index>(built.most_taps, count);

    const double floor = floor_of(at.low);
    const PhaseCache::Entry wanted{at.low - floor, at.high - floor, first - floor, count, phases};
    span.phase = at.low >= 0.0 ? cache.phase_of(wanted) : phases;
    if (span.phase != phases) continue;
    ++phases;

    filter.evaluate(at, first, count, storage.scratch);
    double sum = 0.0;
    for (std::int32_t tap = 0; tap < count; ++tap) sum += storage.scratch[tap];
    float* weights = storage.weights + static_cast<Index>(span.phase) * storage.stride;
    for (std::int32_t tap = 0; tap < count; ++tap) {
      weights[tap] = static_cast<float>(storage.scratch[tap] / sum);
      built.last_place = std::min(built.last_place, last_place_of(weights[tap]));
    }
  }
  if (begin < axis.count) repeat_spans(storage.spans, axis, period, begin, firsts);
  return built;
}

}  // namespace kyv::resize
