// The tables of one-dimensional transforms: places, roots, the kernels of convolutions.
//
// Everything is laid into an arena. While that only counts, nothing is computed and the results are null.
#pragma once

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

template <class T>
RootTable<T> lay_roots(std::int32_t order, runtime::Arena& arena) noexcept;

// A line of any method, with roots of its own.
template <class T>
const LinePlan<T>* lay_line(const LineShape& shape, PartGap gap, const Kernels& kernels,
                            runtime::Arena& arena) noexcept;

// A line of mixed radix with roots whose order is a multiple of the length.
template <class T>
const LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, const RootTable<T>& roots,
                                   runtime::Arena& arena) noexcept;

}  // namespace kyv::psfotf
