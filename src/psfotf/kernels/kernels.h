// The function table that one instruction set gives to the psfotf service.
#pragma once

#include <cstdint>

#include "psfotf/plan.h"

namespace kyv::psfotf {

// Transforms one square plane of a fixed size and scales the results; every value is read before any is
// written.
template <class T>
using TransformSquare = void (*)(T scale, const PlaneArrays& arrays) noexcept;

template <class T>
struct PrecisionKernels {
  std::int32_t lanes;  // of one vector
  RadixSet radices;

  // Transforms one plane and scales the results; every value is read before any is written. The workspace
  // holds workspace_bytes() bytes, aligned to a cache line.
  void (*transform_plane)(const PlanePlan<T>& plan, T scale, const PlaneArrays& arrays,
                          void* workspace) noexcept;

  // Transforms `lanes` lines at a time, in place: plan.length elements in `data`, and for the convolution
  // methods those of plan.inner with their gaps in `work`. Result k is then element plan.positions[k].
  void (*transform_lines)(const LinePlan<T>& plan, T* data, T* work) noexcept;

  // Squares of 8, 16, 32 and 64; null where there is no such code.
  TransformSquare<T> transform_squares[4];
};

struct Kernels {
  const PrecisionKernels<float>& single_precision;
  const PrecisionKernels<double>& double_precision;
  const Kernels* narrower;  // for planes of fewer columns than the lanes here; null for one lane
};

}  // namespace kyv::psfotf
