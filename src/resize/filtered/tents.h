// Linear reduction by a power of two.
//
// Weights are few parts of a power of two, and no sum of two axes is ever rounded in floats: integers give
// the defined result.
#pragma once

#include "resize/job.h"
#include "resize/kernels/kernels.h"

namespace kyv::resize {

// False, and nothing is written, where a request is none such, or the kernels have none for it.
bool write_tents(const ResizeJob& job, const Kernels& kernels) noexcept;

}  // namespace kyv::resize
