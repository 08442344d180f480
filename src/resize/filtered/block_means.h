// Super-sampling whose boxes are blocks of whole pixels, powers of two wide and high: 2 : 1 above all.
//
// No sum of such a box is rounded in floats, whatever its order: integers give the defined result.
#pragma once

#include "resize/job.h"
#include "resize/kernels/kernels.h"

namespace kyv::resize {

// False, and nothing is written, where boxes are no such blocks or the kernels have no means of them.
bool write_block_means(const ResizeJob& job, const Kernels& kernels) noexcept;

}  // namespace kyv::resize
