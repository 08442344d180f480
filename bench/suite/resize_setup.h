// What a resize call does before and after its pixels.
#pragma once

#include "cells/resize_cell.h"
#include "common/timing.h"
#include "runtime/dispatch.h"

namespace kyv::bench {

// The set-up of one call on its own: the thread's context and a work buffer of the call's size are made and
// released, and between them the weight tables of both axes (for nearest neighbour: the tables of a row) are
// filled. The checks of the request, some tens of nanoseconds, are left out.
Work resize_setup(const ResizeCell& cell, const runtime::KernelSet& variant);

}  // namespace kyv::bench
