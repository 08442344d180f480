// The resampler: weight tables, row pass and column pass over one resolved request.
#pragma once

#include <cstdint>

#include "resize/geometry.h"
#include "runtime/dispatch.h"

namespace kyv::resize {

struct ResampleJob {
  const void* src = nullptr;  // pixel (0, 0) of the source image, not of its rectangle
  std::int32_t src_step = 0;  // bytes; any value, odd ones included
  void* dst = nullptr;        // pixel (0, 0) of the destination image
  std::int32_t dst_step = 0;
  std::int32_t channels = 0;  // 1, 3, 4
  std::int32_t bits = 0;      // 8, 16
  Geometry geometry;
};

// Bytes of work buffer that a job of this geometry takes, for either bit depth and any kernel set.
// Never overflows: a need beyond 2^62 is answered with 2^62.
std::int64_t work_buffer_bytes(const Geometry& geometry, std::int32_t channels) noexcept;

// Writes columns [x.first, x.first + x.count) of rows [y.first, y.first + y.count) and nothing else.
// Reads no pixel outside the usable rectangle. Allocates nothing; `work` holds work_buffer_bytes() bytes.
void resample(const ResampleJob& job, void* work, const Kernels& kernels) noexcept;

}  // namespace kyv::resize
