// The kernels of the psfotf service, written once against the vector type of runtime/simd.
// A unit includes its simd header first and then this one.
#pragma once

#include "psfotf/kernels/kernels.h"

namespace kyv::psfotf {
namespace {

constexpr Kernels make_kernels() noexcept { return {simd::F32::kLanes}; }

}  // namespace
}  // namespace kyv::psfotf
