#include "resize/resample.h"

#include "resize/copy/identity.h"
#include "resize/copy/nearest.h"
#include "resize/filtered/resampler.h"

namespace kyv::resize {

std::uint64_t work_buffer_bytes(const Geometry& geometry, std::int32_t channels) noexcept {
  runtime::Arena arena;
  if (geometry.mode == Mode::kNearest) {
    take_nearest_tables(arena, geometry.x, channels);
  } else {
    static_cast<void>(Workspace(arena, geometry, channels));
  }
  return arena.bytes();
}

bool resample(const ResizeJob& job, const WorkBuffer& work, const Kernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  const std::int32_t channels = job.format.channels;
  if (coincides(geometry)) {
    if (work_buffer_bytes(geometry, channels) > work.bytes) return false;
    copy_pixels(job, kernels.bytes);
    return true;
  }
  runtime::Arena arena(work.memory, work.bytes);
  if (geometry.mode == Mode::kNearest) {
    const NearestRoom room = take_nearest_tables(arena, geometry.x, channels);
    if (arena.fits()) resize_nearest(job, room, kernels.bytes);
  } else {
    const Workspace workspace(arena, geometry, channels);
    if (arena.fits()) resize_filtered(job, workspace, kernels);
  }
  return arena.fits();
}

}  // namespace kyv::resize
