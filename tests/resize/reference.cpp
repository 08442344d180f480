#include "resize/reference.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace kyv::reference {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr std::size_t kBlock = 128;

// 1 / (2 k (2 k + 1)): from one term of a sine's series to the next.
constexpr std::array<long double, 12> kInverse = [] {
  std::array<long double, 12> values{};
  for (int k = 1; k < 12; ++k) values[static_cast<std::size_t>(k)] = 1.0L / (2 * k * (2 * k + 1));
  return values;
}();

struct Tap {
  std::int64_t source;  // clamped into the usable part of the region
  float weight;
};
using Taps = std::vector<Tap>;

struct Axis {
  std::int64_t first = 0;
  std::int64_t count = 0;
  std::int64_t usable = 0;
  double region_origin = 0.0;
  double s = 1.0;
  double offset = 0.0;
};

double linear(double d) { return d < 1.0 ? 1.0 - d : 0.0; }

double cubic(double d) {
  if (d < 1.0) return (0.5 * d * d - d - 0.5) * d + 1.0;
  if (d < 2.0) return (-0.16666666666666666 * d * d + d - 1.8333333333333333) * d + 1.0;
  return 0.0;
}

double b_spline(double d) {
  if (d < 1.0) return (0.5 * d * d - d) * d + 0.6666666666666666;
  if (d < 2.0) return (-0.16666666666666666 * d * d + d) * d + (1.3333333333333333 - 2.0 * d);
  return 0.0;
}

// sin(x) for 0 <= x <= 3 pi: reduced to [-pi/2, pi/2], then the Taylor series to the 23rd power.
double sine(double x) {
  constexpr long double kRestOfPi = 1.22464679914735317723e-16L;  // pi - kPi
  const auto turns = static_cast<int>(x / kPi + 0.5);
  const auto k = static_cast<long double>(turns);
  const long double r = (static_cast<long double>(x) - k * static_cast<long double>(kPi)) - k * kRestOfPi;
  const long double r2 = r * r;
  long double factor = 1.0L;
  for (std::size_t n = 11; n > 0; --n) factor = 1.0L - factor * r2 * kInverse[n];
  return static_cast<double>(turns % 2 == 0 ? r * factor : -(r * factor));
}

double lanczos(double d) {
  if (d == 0.0) return 1.0;
  if (d >= 3.0) return 0.0;
  const double a = kPi * d;
  const double b = a / 3.0;
  return sine(a) / a * (sine(b) / b);
}

double kernel(int mode, double d) {
  if (mode == 2) return linear(d);
  if (mode == 4) return cubic(d);
  if (mode == 5) return b_spline(d);
  return lanczos(d);
}

double base_radius(int mode) {
  if (mode == 2) return 1.0;
  return mode == 16 ? 3.0 : 2.0;
}

int mode_in_effect(int mode, std::int32_t width, std::int32_t height) {
  if (width >= 6 && height >= 6) return mode;
  const int without_lanczos = mode == 16 ? 4 : mode;
  const bool cubic_family = without_lanczos == 4 || without_lanczos == 5;
  if ((width < 4 || height < 4) && cubic_family) return 2;
  return without_lanczos;
}

Tap clamped_tap(const Axis& axis, double n) {
  const double last = static_cast<double>(axis.usable - 1);
  return {static_cast<std::int64_t>(std::min(std::max(n, 0.0), last)), 0.0f};
}

void normalise(const std::vector<double>& weights, Taps& taps) {
  double sum = 0.0;
  for (const double w : weights) sum += w;
  for (std::size_t k = 0; k < taps.size(); ++k) taps[k].weight = static_cast<float>(weights[k] / sum);
}

Taps nearest_tap(const Axis& axis, double i) {
  Tap tap = clamped_tap(axis, std::floor((i + 0.5) * axis.s + axis.offset - axis.region_origin));
  tap.weight = 1.0f;
  return {tap};
}

Taps box_taps(const Axis& axis, double i) {
  const double start = i * axis.s + axis.offset - axis.region_origin;
  const double end = (i + 1.0) * axis.s + axis.offset - axis.region_origin;
  Taps taps;
  std::vector<double> weights;
  for (double n = std::floor(start); n < end; n += 1.0) {
    taps.push_back(clamped_tap(axis, n));
    weights.push_back(std::min(end, n + 1.0) - std::max(start, n));
  }
  normalise(weights, taps);
  return taps;
}

Taps filter_taps(const Axis& axis, int mode, double i) {
  const bool reduces = axis.s > 1.0;
  const double radius = reduces ? base_radius(mode) * axis.s : base_radius(mode);
  const double scale = reduces ? 1.0 / axis.s : 1.0;
  const double o = axis.offset - 0.5 - axis.region_origin;
  const double c = (i + 0.5) * axis.s + o;
  Taps taps;
  std::vector<double> weights;
  for (double n = std::ceil(c - radius); n <= std::trunc(c + radius); n += 1.0) {
    taps.push_back(clamped_tap(axis, n));
    weights.push_back(kernel(mode, std::fabs(c - n) * scale));
  }
  normalise(weights, taps);
  return taps;
}

std::vector<Taps> axis_taps(const Axis& axis, int mode) {
  std::vector<Taps> table;
  for (std::int64_t k = 0; k < axis.count; ++k) {
    const double i = static_cast<double>(axis.first + k);
    if (mode == 1) table.push_back(nearest_tap(axis, i));
    if (mode == 8) table.push_back(box_taps(axis, i));
    if (mode != 1 && mode != 8) table.push_back(filter_taps(axis, mode, i));
  }
  return table;
}

// The sum over the taps of weight * values[tap.source * channels].
float weighted_sum(const Taps& taps, const float* values, int channels) {
  float total = 0.0f;
  for (std::size_t start = 0; start < taps.size(); start += kBlock) {
    float block = 0.0f;
    const std::size_t end = std::min(start + kBlock, taps.size());
    for (std::size_t k = start; k < end; ++k)
      block = fused_multiply_add(taps[k].weight, values[taps[k].source * channels], block);
    total += block;
  }
  return total;
}

// The same for neighbouring sums at once: sums[j] over weight * line(tap.source)[j].
template <class Line>
void weighted_sums(const Taps& taps, const Line& line, std::vector<float>& block, std::vector<float>& sums) {
  std::fill(sums.begin(), sums.end(), 0.0f);
  for (std::size_t start = 0; start < taps.size(); start += kBlock) {
    std::fill(block.begin(), block.end(), 0.0f);
    const std::size_t end = std::min(start + kBlock, taps.size());
    for (std::size_t k = start; k < end; ++k) {
      const float* const values = line(taps[k].source);
      for (std::size_t j = 0; j < block.size(); ++j)
        block[j] = fused_multiply_add(taps[k].weight, values[j], block[j]);
    }
    for (std::size_t j = 0; j < sums.size(); ++j) sums[j] += block[j];
  }
}

// To nearest, ties to even, and saturated, which comes to the same before as after.
std::uint16_t to_sample(float value, int bits) {
  const double limit = bits == 8 ? 255.0 : 65535.0;
  const double v = std::min(std::max(static_cast<double>(value), 0.0), limit);
  const auto whole = static_cast<std::uint32_t>(v);
  const double rest = v - whole;
  const bool up = rest > 0.5 || (rest == 0.5 && whole % 2 == 1);
  return static_cast<std::uint16_t>(whole + (up ? 1 : 0));
}

std::uint16_t read_sample(const std::uint8_t* p, int bits) {
  if (bits == 8) return *p;
  std::uint16_t value = 0;
  std::memcpy(&value, p, sizeof value);
  return value;
}

void append_sample(std::uint16_t value, int bits, std::vector<std::uint8_t>& out) {
  std::uint8_t bytes[2];
  std::memcpy(bytes, &value, sizeof value);
  if (bits == 8) bytes[0] = static_cast<std::uint8_t>(value);
  out.insert(out.end(), bytes, bytes + bits / 8);
}

struct AxisCall {
  std::int32_t src_size;
  std::int32_t roi_origin;
  std::int32_t roi_size;
  std::int32_t dst_origin;
  std::int32_t dst_size;
  double factor;
  double shift;
};

Axis map_axis(const AxisCall& call) {
  Axis axis;
  axis.usable = std::min(call.src_size - call.roi_origin, call.roi_size);
  axis.region_origin = call.roi_origin;
  axis.s = 1.0 / call.factor;
  axis.offset = -call.shift / call.factor;
  const double r0 = axis.region_origin;
  const double dst_end = static_cast<double>(call.dst_origin) + call.dst_size;
  const double region_end = r0 + static_cast<double>(axis.usable);
  const double mapped_start = r0 * call.factor + call.shift;
  const double mapped_end = region_end * call.factor + call.shift;
  if (std::isnan(mapped_start) || std::isnan(mapped_end)) return axis;
  const double start = std::fmax(mapped_start, call.dst_origin);
  const double end = std::fmin(mapped_end, dst_end);
  if (start > end || std::trunc(end + 0.5000000001) > 2147483647.0) return axis;
  axis.first = static_cast<std::int64_t>(start + 0.4999999999);
  axis.count = static_cast<std::int64_t>(end + 0.5000000001) - axis.first;
  return axis;
}

std::int32_t mapped_origin(std::int32_t origin, double factor) {
  return static_cast<std::int32_t>(origin * factor + 0.4999999999);
}

// The shift that takes the region's rounded origin to 0. Where that leaves the last destination position
// unreached, by an error of rounding, the shift with which the region ends half a position before its end.
double request_shift(std::int32_t origin, std::int32_t size, std::int32_t dst_size, double factor) {
  const double shift = 0.0 - mapped_origin(origin, factor);
  const double end = (static_cast<double>(origin) + size) * factor;
  return std::trunc(end + shift + 0.5000000001) < dst_size ? dst_size - 0.5 - end : shift;
}

// A factor of 1 with a shift of 0 returns the source, whatever the mode: the B-spline, which would smooth,
// included.
bool is_identity(const Axis& axis) { return axis.s == 1.0 && axis.offset == 0.0; }

class Resampler {
 public:
  Resampler(const PrimitiveCall& call, const Axis& x, const Axis& y)
      : call_(call),
        y_(y),
        usable_width_(x.usable),
        mode_(is_identity(x) && is_identity(y) ? 1
                                               : mode_in_effect(call.mode, call.src_width, call.src_height)),
        columns_(axis_taps(x, mode_)),
        rows_(axis_taps(y, mode_)) {}

  void run(std::vector<std::uint8_t>& out) const {
    const std::size_t row_samples = columns_.size() * static_cast<std::size_t>(call_.channels);
    const std::vector<float> intermediate = row_pass(row_samples);
    std::vector<float> block(row_samples);
    std::vector<float> sums(row_samples);
    for (const Taps& taps : rows_) {
      const auto line = [&](std::int64_t y) {
        return intermediate.data() + static_cast<std::size_t>(y) * row_samples;
      };
      weighted_sums(taps, line, block, sums);
      for (const float sum : sums) append_sample(to_sample(sum, call_.bits), call_.bits, out);
    }
  }

 private:
  std::vector<float> row_pass(std::size_t row_samples) const {
    std::vector<float> result;
    result.reserve(row_samples * static_cast<std::size_t>(y_.usable));
    for (std::int64_t y = 0; y < y_.usable; ++y) {
      const std::vector<float> row = source_row(y);
      for (const Taps& taps : columns_) {
        for (int channel = 0; channel < call_.channels; ++channel)
          result.push_back(weighted_sum(taps, row.data() + channel, call_.channels));
      }
    }
    return result;
  }

  std::vector<float> source_row(std::int64_t y) const {
    const std::int64_t sample_bytes = call_.bits / 8;
    const std::uint8_t* first = call_.src + (call_.src_roi.y + y) * call_.src_step +
                                std::int64_t{call_.src_roi.x} * call_.channels * sample_bytes;
    std::vector<float> row(static_cast<std::size_t>(usable_width_ * call_.channels));
    for (float& sample : row) {
      sample = read_sample(first, call_.bits);
      first += sample_bytes;
    }
    return row;
  }

  const PrimitiveCall& call_;
  const Axis& y_;
  std::int64_t usable_width_;
  int mode_;
  std::vector<Taps> columns_;
  std::vector<Taps> rows_;
};

}  // namespace

// The product is exact in double. The sum is rounded to odd: when it is inexact, the last place is made odd,
// so that it never looks like a tie to the rounding to float (S. Boldo, G. Melquiond, "Emulation of a FMA
// and correctly rounded sums: proved algorithms using rounding to odd", 2008).
float fused_multiply_add(float a, float b, float c) noexcept {
  const double product = static_cast<double>(a) * static_cast<double>(b);
  const double addend = c;
  const double sum = product + addend;
  auto bits = std::bit_cast<std::uint64_t>(sum);
  // Only from half-way between two normal floats does a second rounding go wrong.
  constexpr std::uint64_t below_float = (std::uint64_t{1} << 29) - 1;
  constexpr std::uint64_t half_way = std::uint64_t{1} << 28;
  if ((bits & below_float) != half_way && std::fabs(sum) >= 0x1p-126) return static_cast<float>(sum);
  const double addend_part = sum - product;
  const double error = (product - (sum - addend_part)) + (addend - addend_part);
  if (error != 0.0 && (bits & 1u) == 0) bits += (error > 0.0) == (sum > 0.0) ? 1u : ~std::uint64_t{0};
  return static_cast<float>(std::bit_cast<double>(bits));
}

Result resize_sqr_pixel(const PrimitiveCall& call) {
  const Axis x = map_axis({call.src_width, call.src_roi.x, call.src_roi.width, call.dst_roi.x,
                           call.dst_roi.width, call.x_factor, call.x_shift});
  const Axis y = map_axis({call.src_height, call.src_roi.y, call.src_roi.height, call.dst_roi.y,
                           call.dst_roi.height, call.y_factor, call.y_shift});
  Result result;
  if (x.count <= 0 || y.count <= 0) return result;
  result.written = {static_cast<std::int32_t>(x.first), static_cast<std::int32_t>(y.first),
                    static_cast<std::int32_t>(x.count), static_cast<std::int32_t>(y.count)};
  Resampler(call, x, y).run(result.samples);
  return result;
}

Result resize(PrimitiveCall call, std::int32_t dst_width, std::int32_t dst_height) {
  call.x_factor = static_cast<double>(dst_width) / call.src_roi.width;
  call.y_factor = static_cast<double>(dst_height) / call.src_roi.height;
  call.x_shift = request_shift(call.src_roi.x, call.src_roi.width, dst_width, call.x_factor);
  call.y_shift = request_shift(call.src_roi.y, call.src_roi.height, dst_height, call.y_factor);
  call.dst_roi = {0, 0, dst_width, dst_height};
  return resize_sqr_pixel(call);
}

}  // namespace kyv::reference
