// Weight tables: which source pixels make a destination pixel, and with which weights.
#pragma once

#include <algorithm>
#include <cstdint>

#include "resize/arena.h"
#include "resize/geometry.h"
#include "resize/kernels/kernels.h"

namespace kyv::resize {

// Room for the taps of one destination index: never less for a larger radius or a larger inverse factor.
std::uint64_t tap_room(const AxisGeometry& axis, Mode mode) noexcept;

// A weight table's arrays in the work buffer.
struct TapTableStorage {
  TapSpan* spans = nullptr;   // one per destination index
  float* weights = nullptr;   // at most one row per destination index
  double* scratch = nullptr;  // one row before it is normalised
  std::uint64_t stride = 0;   // weights of a row
};

TapTableStorage take_tap_table(Arena& arena, const AxisGeometry& axis, Mode mode) noexcept;

struct BuiltTable {
  TapTable table;
  float smallest = 1.0f;  // the smallest |weight| that is not 0
};

// Fills the table of a filtered mode (any but nearest). Destination indices whose weights are the same bit
// for bit share a row.
BuiltTable build_tap_table(const TapTableStorage& storage, const AxisGeometry& axis, Mode mode,
                           const Kernels& kernels) noexcept;

// Nearest neighbour: the source pixel of destination index `axis.first + i`, counted from the origin.
class NearestSource {
 public:
  explicit NearestSource(const AxisGeometry& axis) noexcept
      : first_(axis.first),
        inverse_(axis.inverse),
        offset_(axis.offset),
        origin_(axis.origin),
        last_(static_cast<double>(axis.usable_size) - 1.0) {}

  std::int32_t operator()(std::int32_t i) const noexcept {
    const double index = first_ + static_cast<double>(i);
    const double position = (index + 0.5) * inverse_ + offset_ - origin_;
    return static_cast<std::int32_t>(std::min(std::max(0.0, position), last_));
  }

 private:
  double first_;
  double inverse_;
  double offset_;
  double origin_;
  double last_;
};

}  // namespace kyv::resize
