// Nearest neighbour: destination rows are gathered from source rows.
#pragma once

#include "resize/copy/nearest_tables.h"
#include "resize/job.h"

namespace kyv::resize {

void resize_nearest(const ResizeJob& job, const NearestRoom& room, const ByteKernels& kernels) noexcept;

}  // namespace kyv::resize
