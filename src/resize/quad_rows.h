// The row pass of few taps over blocks of rows: where it suits, and how its windows end with the rows.
#pragma once

#include <cstddef>
#include <cstdint>

#include "resize/geometry.h"
#include "resize/kernels/kernels.h"
#include "resize/lane_plan.h"

namespace kyv::resize {

class QuadRows {
 public:
  // Whether there is a pass for these pixels, and whether it is the fastest one, is told by usable().
  QuadRows(const TapTable& table, const Geometry& geometry, const LaneSource& source,
           const ShuffledKernels& passes) noexcept;

  bool usable() const noexcept { return pass_ != nullptr; }

  // Row results of the destination pixels [first, first + count) of a whole block of rows, `step` bytes
  // apart, `source` being the first pixel of the first one. Writes one float more.
  void run(const std::uint8_t* source, std::ptrdiff_t step, std::int32_t first, std::int32_t count,
           float* const* out) const noexcept;

 private:
  static constexpr int kMostWindows = 9;  // of different places: 8-bit RGB

  bool pays(double inverse) const noexcept;
  void fill_places(std::uint8_t no_place) noexcept;

  const TapTable& table_;
  const std::int64_t usable_size_;
  const std::int32_t count_;
  const std::int32_t channels_;
  const std::int32_t sample_bytes_;
  const std::int32_t left_windows_;  // that begin before the row
  ShuffledPass* pass_ = nullptr;
  std::uint8_t places_[kMostWindows * shuffled_pixels(kDepth8) * kShuffledBytes];
};

}  // namespace kyv::resize
