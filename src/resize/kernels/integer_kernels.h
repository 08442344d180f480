// The kernels of whole numbers, together.
#pragma once

#include "resize/kernels/doubling_impl.h"
#include "resize/kernels/kernels.h"
#include "resize/kernels/means_impl.h"
#include "resize/kernels/tents_impl.h"

namespace kyv::resize {
namespace {

constexpr IntegerKernels integer_kernels() noexcept {
  return {.means = mean_kernels(), .doubling = doubling_kernels(), .tents = tent_kernels()};
}

}  // namespace
}  // namespace kyv::resize
