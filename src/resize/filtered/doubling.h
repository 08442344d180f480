// Linear enlargement to twice the width and height.
//
// Weights are quarters, and no sum of two axes is ever rounded in floats: integers give the defined result.
#pragma once

#include "resize/job.h"
#include "resize/kernels/kernels.h"

namespace kyv::resize {

// False, and nothing is written, where a request is none such, or the kernels have none for it.
bool write_doubled(const ResizeJob& job, const Kernels& kernels) noexcept;

}  // namespace kyv::resize
