// Weight tables: which source pixels make a destination pixel, and with which weights.
#pragma once

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
std::int32_t nearest_source(const AxisGeometry& axis, std::int32_t i) noexcept;

}  // namespace kyv::resize
