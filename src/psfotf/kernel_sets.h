// Ways into a kernel set.
#pragma once

#include "psfotf/kernels/kernels.h"

namespace kyv::psfotf {

template <class T>
const PrecisionKernels<T>& precision_of(const Kernels& kernels) noexcept;
template <>
inline const PrecisionKernels<float>& precision_of(const Kernels& kernels) noexcept {
  return kernels.single_precision;
}
template <>
inline const PrecisionKernels<double>& precision_of(const Kernels& kernels) noexcept {
  return kernels.double_precision;
}

// The set at the end of the chain, whose vectors are one lane.
inline const Kernels& narrowest(const Kernels& kernels) noexcept {
  return kernels.narrower == nullptr ? kernels : narrowest(*kernels.narrower);
}

}  // namespace kyv::psfotf
