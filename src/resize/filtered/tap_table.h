// Weight tables: which source pixels make a destination pixel, and with which weights.
#pragma once

#include <cstdint>

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
  Index most_taps = 0;    // of a destination index
  float smallest = 1.0f;  // the smallest |weight| that is not 0
};

// Fills the table of a filtered mode (any but nearest). Destination indices whose weights are the same bit
// for bit share a row.
BuiltTable build_tap_table(const TapTableRoom& storage, const AxisGeometry& axis, Mode mode,
                           const Kernels& kernels) noexcept;

}  // namespace kyv::resize
