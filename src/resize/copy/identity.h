// Any mode where source and destination coincide.
#pragma once

#include "resize/job.h"
#include "resize/kernels/bytes.h"

namespace kyv::resize {

// Whether the destination is a copy of source pixels in every mode: factor 1 and shift 0 on both axes.
bool coincides(const Geometry& geometry) noexcept;

void copy_pixels(const ResizeJob& job, const ByteKernels& kernels) noexcept;

}  // namespace kyv::resize
