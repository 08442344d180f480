// The tables of one-dimensional transforms: places, roots, the kernels of convolutions.
//
// Everything is laid into an arena. While that only counts, nothing is computed and the results are null.
#pragma once

#include <algorithm>
#include <cstdint>

#include "psfotf/factorisation.h"
#include "psfotf/kernels/kernels.h"
#include "psfotf/plan.h"
#include "runtime/arena.h"

namespace kyv::psfotf {

// Roots of unity of one order: entry k at place k.
template <class T>
struct RootTable {
  std::int32_t order = 0;
  const T* re = nullptr;
  const T* im = nullptr;
};

// What planning needs for a while, over and over from its start; where there is none, it only counts.
class PlanningMemory {
 public:
  explicit PlanningMemory(void* memory = nullptr) noexcept : memory_(memory) {}
  runtime::Arena arena() const noexcept { return runtime::Arena(memory_); }
  void count(const runtime::Arena& used) noexcept { bytes_ = std::max(bytes_, used.aligned_bytes()); }
  // The most that was in use at one time.
  std::uint64_t bytes() const noexcept { return bytes_; }

 private:
  void* memory_;
  std::uint64_t bytes_ = 0;
};

// At the start of the planning memory, until something else is planned there.
template <class T>
RootTable<T> lay_roots(std::int32_t order, PlanningMemory& memory) noexcept;

// Where a convolution leaves its results. In place, the line lies among the elements that it works in:
// Bluestein's in order, perhaps with gaps between their parts, Rader's by the powers of a generator. In
// order, which Rader's is not, it has no gaps and no positions.
enum class Results : std::uint8_t { kAtPositions, kInPlace, kInOrder };

// Whether a convolution's tables are for many lines or for so few that they should not outgrow them.
enum class Tables : std::uint8_t { kForMany, kForFew };

// What a line is laid for. The gap is one of mixed radix, or of a convolution in place.
struct LineUse {
  PartGap gap = PartGap::kNone;
  Results results = Results::kAtPositions;
  Tables tables = Tables::kForMany;
  std::int32_t lanes = 1;  // that each line lies within
};

// A line of any method; one of mixed radix has roots of its length, or a multiple.
template <class T>
const LinePlan<T>* lay_line(const LineShape& shape, const RootTable<T>& roots, const LineUse& use,
                            const Kernels& kernels, runtime::Arena& arena, PlanningMemory& memory) noexcept;

// A line of mixed radix without convolutions, with roots whose order is a multiple of the length.
template <class T>
LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, const RootTable<T>& roots,
                             runtime::Arena& arena) noexcept;

}  // namespace kyv::psfotf
