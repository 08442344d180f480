// Filtered resizing: strips of destination columns; in each, source rows go through the row pass into a ring,
// and destination rows come out of it.
#pragma once

#include "resize/filtered/workspace.h"

namespace kyv::resize {

void resize_filtered(const ResizeJob& job, const Workspace& work, const Kernels& kernels) noexcept;

}  // namespace kyv::resize
