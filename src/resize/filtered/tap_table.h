// Weight tables: which source pixels make a destination pixel, and with which weights.
#pragma once

#include <cstdint>
#include <limits>

#include "resize/geometry.h"
#include "resize/kernels/kernels.h"
#include "runtime/arena.h"

namespace kyv::resize {

// Room for the taps of one destination index: never less for a larger radius or a larger inverse factor.
std::uint64_t tap_room(const AxisGeometry& axis, Mode mode) noexcept;

// A weight table's arrays in the work buffer.
struct TapTableRoom {
  TapSpan* spans = nullptr;   // one per destination index
  float* weights = nullptr;   // at most one row per destination index
  double* scratch = nullptr;  // one row before it is normalised
  Index stride = 0;           // weights of a row
};

TapTableRoom take_tap_table(runtime::Arena& arena, const AxisGeometry& axis, Mode mode) noexcept;

struct BuiltTable {
  TapTable table;
  Index most_taps = 0;          // of a destination index
  std::int32_t last_place = 0;  // every weight is a multiple of 2^last_place
};

// Whether every sum of samples times weights fits a double, row results among the samples, where all products
// are multiples of 2^last_place. The weights of an axis add up to 1, their sizes to less than 2.
constexpr bool sums_fit_doubles(std::int32_t last_place, Depth depth) noexcept {
  const std::int32_t bits = depth == kDepth8 ? 8 : 16;
  return bits + 2 - last_place <= std::numeric_limits<double>::digits;
}

// Fills the table of a filtered mode (any but nearest). Destination indices whose weights are the same bit
// for bit share a row.
BuiltTable build_tap_table(const TapTableRoom& storage, const AxisGeometry& axis, Mode mode,
                           const Kernels& kernels) noexcept;

}  // namespace kyv::resize
