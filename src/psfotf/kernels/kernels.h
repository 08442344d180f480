// The function table that one instruction set gives to the psfotf service.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/plan.h"

namespace kyv::psfotf {

// The code for square planes of one fixed size. It scales the results; every value is read before any is
// written.
template <class T>
struct SquareCode {
  using Transform = void (*)(T scale, const PlaneArrays& arrays) noexcept;
  // False, with nothing written, where the plane turns out to be another.
  using TransformHalf = bool (*)(T scale, const PlaneArrays& arrays) noexcept;

  Transform transform;  // null where there is no such code
  // Planes whose imaginary values are all zeros, to an exactly Hermitian transform; null where `transform`
  // does that.
  TransformHalf transform_real;
  // Hermitian planes, backward without any exchange of real and imaginary parts; leaves zeros for imaginary
  // ones.
  TransformHalf transform_hermitian;
};

// Transforms a real or a Hermitian plane; false, with nothing written, where the plane turns out to be
// another.
template <class T>
using TransformHalves = bool (*)(const PlanePlan<T>& plan, T scale, const PlaneArrays& arrays,
                                 void* workspace) noexcept;

template <class T>
struct PrecisionKernels {
  std::int32_t lanes;  // of one vector
  RadixSet radices;
  bool has_fused_multiply_add;

  // Transforms one plane and scales the results; every value is read before any is written. The workspace
  // holds workspace_bytes() bytes, aligned to a cache line.
  void (*transform_plane)(const PlanePlan<T>& plan, T scale, const PlaneArrays& arrays,
                          void* workspace) noexcept;

  // The same in half the steps for planes whose imaginary values are all zeros, and for those whose values
  // are the conjugates of their mirror images, both for plans that have halves. The first leaves an exactly
  // Hermitian plane. The second is the backward transform without any exchange of real and imaginary parts,
  // and leaves zeros for imaginary ones. Null for one lane, and where a set serves thin planes alone.
  TransformHalves<T> transform_real_plane;
  TransformHalves<T> transform_hermitian_plane;

  // Transforms `lanes` lines at a time, in place: plan.length elements in `data`, and those that convolutions
  // take (LineShape::work_elements) in `work`. Result k is then element plan.positions[k].
  void (*transform_lines)(const LinePlan<T>& plan, T* data, T* work) noexcept;

  // Transforms one line that lies within lanes, in place: inner.length elements in `data`. Vector q of the
  // results at places first to first + lanes - 1, `first` a multiple of the lanes, is half of element
  // first + q. Null for one lane.
  void (*transform_within)(const LinePlan<T>& inner, T* data) noexcept;

  SquareCode<T> squares[4];  // of 8, 16, 32 and 64

  // Where there are no halves: whether all values are zeros; whether every value is finite and the conjugate
  // of its mirror image; and making it so, from the first half of the plane.
  bool (*are_zeros)(const double* values, std::size_t count) noexcept;
  bool (*is_hermitian)(const PlaneShape& shape, const double* re, const double* im) noexcept;
  void (*make_hermitian)(const PlaneShape& shape, double* re, double* im) noexcept;
};

struct Kernels {
  const PrecisionKernels<float>& single_precision;
  const PrecisionKernels<double>& double_precision;
  const Kernels* narrower;  // for planes of fewer columns than the lanes here; null for one lane
};

}  // namespace kyv::psfotf
