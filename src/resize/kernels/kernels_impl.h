// The kernels of the resize service, written once against the vector type of runtime/simd.
// A unit includes its simd header first and then this one.
#pragma once

#include "resize/kernels/kernels.h"

namespace kyv::resize {
namespace {

constexpr Kernels make_kernels() noexcept { return {simd::F32::kLanes}; }

}  // namespace
}  // namespace kyv::resize
