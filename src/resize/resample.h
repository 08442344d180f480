// The passes over one resolved request.
#pragma once

#include "resize/job.h"
#include "resize/kernels/kernels.h"

namespace kyv::resize {

// Bytes of work buffer that a job of this geometry takes, for either bit depth and any kernel set. Never
// overflows: an absurd need is answered with about 2^62.
std::uint64_t work_buffer_bytes(const Geometry& geometry, std::int32_t channels) noexcept;

struct WorkBuffer {
  void* memory = nullptr;
  std::uint64_t bytes = 0;
};

// Writes columns [x.first, x.first + x.count) of rows [y.first, y.first + y.count) and nothing else.
// Reads no pixel outside the usable rectangle. Allocates nothing. False, with nothing written, where the work
// buffer is smaller than work_buffer_bytes().
bool resample(const ResizeJob& job, const WorkBuffer& work, const Kernels& kernels) noexcept;

}  // namespace kyv::resize
