#include "resize/resampler.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "resize/kernels/sine.h"

namespace kyv::resize {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr std::int32_t kBlock = 128;  // taps that are summed in one chain

struct Taps {
  double first = 0.0;  // position of the first tap, not clamped
  std::int32_t count = 0;
};

double base_radius(Mode mode) noexcept {
  if (mode == Mode::kNearest || mode == Mode::kSuper) return 0.5;
  if (mode == Mode::kLinear) return 1.0;
  return mode == Mode::kLanczos ? 3.0 : 2.0;
}

double tap_limit(const AxisGeometry& axis, Mode mode) noexcept {
  return 2.0 * std::ceil(base_radius(mode) * std::max(axis.inverse, 1.0)) + 2.0;
}

double plain_sine(double x) noexcept {
  return sine(x, [](double value) { return value; });
}

double kernel(Mode mode, double d) noexcept {
  if (mode == Mode::kLinear) return d < 1.0 ? 1.0 - d : 0.0;
  if (mode == Mode::kCubic) {
    if (d < 1.0) return (0.5 * d * d - d - 0.5) * d + 1.0;
    return d < 2.0 ? (-0.16666666666666666 * d * d + d - 1.8333333333333333) * d + 1.0 : 0.0;
  }
  if (mode == Mode::kBSpline) {
    if (d < 1.0) return (0.5 * d * d - d) * d + 0.6666666666666666;
    return d < 2.0 ? (-0.16666666666666666 * d * d + d) * d + (1.3333333333333333 - 2.0 * d) : 0.0;
  }
  if (d == 0.0) return 1.0;
  if (d >= 3.0) return 0.0;
  const double outer = kPi * d;
  const double inner = outer / 3.0;
  return plain_sine(outer) / outer * (plain_sine(inner) / inner);
}

// The taps of destination position i; their weights, `limit` at most, go to `weights`.
Taps build_taps(const AxisGeometry& axis, Mode mode, double i, std::int32_t limit, float* weights) noexcept {
  const double s = axis.inverse;
  const double origin = axis.origin;
  if (mode == Mode::kNearest) {
    weights[0] = 1.0f;
    return {std::floor((i + 0.5) * s + axis.offset - origin), 1};
  }
  const bool is_box = mode == Mode::kSuper;
  const double start = i * s + axis.offset - origin;
  const double end = (i + 1.0) * s + axis.offset - origin;
  const double o = axis.offset - 0.5 - origin;
  const double c = (i + 0.5) * s + o;
  const double radius = s > 1.0 ? base_radius(mode) * s : base_radius(mode);
  const double scale = s > 1.0 ? 1.0 / s : 1.0;
  const double first = is_box ? std::floor(start) : std::ceil(c - radius);
  const double last = is_box ? std::ceil(end) - 1.0 : std::trunc(c + radius);
  const auto weight = [&](double n) {
    return is_box ? std::min(end, n + 1.0) - std::max(start, n) : kernel(mode, std::fabs(c - n) * scale);
  };
  Taps taps{first,
            static_cast<std::int32_t>(std::clamp(last - first + 1.0, 0.0, static_cast<double>(limit)))};
  double sum = 0.0;
  for (std::int32_t k = 0; k < taps.count; ++k) sum += weight(first + k);
  for (std::int32_t k = 0; k < taps.count; ++k) weights[k] = static_cast<float>(weight(first + k) / sum);
  return taps;
}

std::int32_t clamped(double n, std::int32_t size) noexcept {
  return static_cast<std::int32_t>(std::clamp(n, 0.0, static_cast<double>(size - 1)));
}

// a*b + c with one rounding: the product is exact in double, the sum is rounded to odd.
float fused(float a, float b, float c) noexcept {
  const double product = static_cast<double>(a) * static_cast<double>(b);
  const double addend = c;
  const double sum = product + addend;
  const double part = sum - product;
  const double error = (product - (sum - part)) + (addend - part);
  auto bits = std::bit_cast<std::uint64_t>(sum);
  if (error != 0.0 && (bits & 1u) == 0) bits += (error > 0.0) == (sum > 0.0) ? 1u : ~std::uint64_t{0};
  return static_cast<float>(std::bit_cast<double>(bits));
}

class Pass {
 public:
  Pass(const ResampleJob& job, void* work) noexcept
      : job_(job),
        x_(job.geometry.x),
        y_(job.geometry.y),
        x_limit_(static_cast<std::int32_t>(tap_limit(x_, job.geometry.mode))),
        y_limit_(static_cast<std::int32_t>(tap_limit(y_, job.geometry.mode))),
        row_samples_(static_cast<std::size_t>(x_.count) * static_cast<std::size_t>(job.channels)) {
    column_taps_ = static_cast<Taps*>(work);
    row_ = reinterpret_cast<float*>(column_taps_ + x_.count);
    block_ = row_ + row_samples_;
    total_ = block_ + row_samples_;
    row_weights_ = total_ + row_samples_;
    column_weights_ = row_weights_ + y_limit_;
  }

  void run() noexcept {
    for (std::int32_t i = 0; i < x_.count; ++i) {
      column_taps_[i] =
          build_taps(x_, job_.geometry.mode, static_cast<double>(x_.first) + i, x_limit_,
                     column_weights_ + static_cast<std::size_t>(i) * static_cast<std::size_t>(x_limit_));
    }
    for (std::int32_t i = 0; i < y_.count; ++i) write_row(i);
  }

 private:
  void write_row(std::int32_t i) noexcept {
    const Taps taps =
        build_taps(y_, job_.geometry.mode, static_cast<double>(y_.first) + i, y_limit_, row_weights_);
    std::fill(total_, total_ + row_samples_, 0.0f);
    for (std::int32_t start = 0; start < taps.count; start += kBlock) {
      std::fill(block_, block_ + row_samples_, 0.0f);
      for (std::int32_t k = start; k < std::min(start + kBlock, taps.count); ++k) {
        load_row(clamped(taps.first + k, y_.usable_size));
        for (std::size_t j = 0; j < row_samples_; ++j) block_[j] = fused(row_weights_[k], row_[j], block_[j]);
      }
      for (std::size_t j = 0; j < row_samples_; ++j) total_[j] = total_[j] + block_[j];
    }
    store(i);
  }

  // The row pass over source row `y` of the region.
  void load_row(std::int32_t y) noexcept {
    if (y == loaded_) return;
    loaded_ = y;
    const auto* const row = static_cast<const std::uint8_t*>(job_.src) +
                            (static_cast<std::ptrdiff_t>(y_.origin) + y) * job_.src_step;
    for (std::int32_t i = 0; i < x_.count; ++i) {
      const float* const weights =
          column_weights_ + static_cast<std::size_t>(i) * static_cast<std::size_t>(x_limit_);
      for (std::int32_t c = 0; c < job_.channels; ++c) {
        row_[static_cast<std::size_t>(i) * static_cast<std::size_t>(job_.channels) +
             static_cast<std::size_t>(c)] = row_sum(row, column_taps_[i], weights, c);
      }
    }
  }

  float row_sum(const std::uint8_t* row, const Taps& taps, const float* weights,
                std::int32_t c) const noexcept {
    float total = 0.0f;
    for (std::int32_t start = 0; start < taps.count; start += kBlock) {
      float block = 0.0f;
      for (std::int32_t k = start; k < std::min(start + kBlock, taps.count); ++k) {
        const std::ptrdiff_t x =
            static_cast<std::ptrdiff_t>(x_.origin) + clamped(taps.first + k, x_.usable_size);
        block = fused(weights[k], sample(row, x * job_.channels + c), block);
      }
      total = total + block;
    }
    return total;
  }

  float sample(const std::uint8_t* row, std::ptrdiff_t index) const noexcept {
    if (job_.bits == 8) return row[index];
    std::uint16_t value = 0;
    std::memcpy(&value, row + index * 2, sizeof value);
    return value;
  }

  void store(std::int32_t i) const noexcept {
    const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(x_.first) * job_.channels;
    auto* const row = static_cast<std::uint8_t*>(job_.dst) +
                      (static_cast<std::ptrdiff_t>(y_.first) + i) * job_.dst_step + first * (job_.bits / 8);
    const float limit = job_.bits == 8 ? 255.0f : 65535.0f;
    for (std::size_t j = 0; j < row_samples_; ++j) {
      const auto value = static_cast<std::uint16_t>(std::nearbyintf(std::clamp(total_[j], 0.0f, limit)));
      if (job_.bits == 8) row[j] = static_cast<std::uint8_t>(value);
      if (job_.bits == 16) std::memcpy(row + j * 2, &value, sizeof value);
    }
  }

  const ResampleJob& job_;
  const AxisGeometry& x_;
  const AxisGeometry& y_;
  std::int32_t x_limit_;
  std::int32_t y_limit_;
  std::size_t row_samples_;
  std::int32_t loaded_ = -1;
  Taps* column_taps_ = nullptr;
  float* row_ = nullptr;
  float* block_ = nullptr;
  float* total_ = nullptr;
  float* row_weights_ = nullptr;
  float* column_weights_ = nullptr;
};

}  // namespace

std::int64_t work_buffer_bytes(const Geometry& geometry, std::int32_t channels) noexcept {
  const double columns = geometry.x.count;
  const double floats = columns * (3.0 * channels + tap_limit(geometry.x, geometry.mode)) +
                        tap_limit(geometry.y, geometry.mode);
  const double bytes = columns * sizeof(Taps) + floats * sizeof(float);
  return bytes < 0x1p62 ? static_cast<std::int64_t>(bytes) : std::int64_t{1} << 62;
}

void resample(const ResampleJob& job, void* work, const Kernels&) noexcept { Pass(job, work).run(); }

}  // namespace kyv::resize
