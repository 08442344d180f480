#include "suite/resize_setup.h"

#include <stdexcept>
#include <vector>

#include "resize/copy/nearest_tables.h"
#include "resize/filtered/tap_table.h"
#include "resize/resample.h"
#include "thread/thread_context.h"

namespace kyv::bench {
namespace {

resize::AxisGeometry axis_of(int src_size, int dst_size) {
  resize::AxisGeometry axis;
  axis.count = dst_size;
  axis.inverse = 1.0 / (static_cast<double>(dst_size) / src_size);
  axis.usable_size = src_size;
  return axis;
}

void fill_tables(const resize::Geometry& geometry, void* work, const resize::Kernels& kernels) {
  runtime::Arena arena(work);
  const resize::TapTableRoom x = resize::take_tap_table(arena, geometry.x, geometry.mode);
  const resize::TapTableRoom y = resize::take_tap_table(arena, geometry.y, geometry.mode);
  resize::build_tap_table(x, geometry.x, geometry.mode, kernels);
  if (!(geometry.x == geometry.y)) resize::build_tap_table(y, geometry.y, geometry.mode, kernels);
  keep(work);
}

void fill_nearest_tables(const resize::Geometry& geometry, const ResizeCell& cell, void* work,
                         const resize::Kernels& kernels) {
  runtime::Arena arena(work);
  const resize::NearestRoom room = resize::take_nearest_tables(arena, geometry.x, cell.channels);
  const resize::Index pixel = cell.channels * cell.bits / 8;
  resize::build_nearest_tables(room, geometry.x, pixel, kernels.bytes);
  keep(work);
}

}  // namespace

Work resize_setup(const ResizeCell& cell, const runtime::KernelSet& variant) {
  resize::Geometry geometry;
  geometry.x = axis_of(cell.src_width, cell.dst_width);
  geometry.y = axis_of(cell.src_height, cell.dst_height);
  geometry.mode = static_cast<resize::Mode>(cell.mode);
  const auto bytes = static_cast<std::int32_t>(resize::work_buffer_bytes(geometry, cell.channels));
  return [geometry, cell, bytes, kernels = variant.resize] {
    thread::ScratchBuffer* const scratch = thread::get_scratch_buffer();
    void* const work = scratch == nullptr ? nullptr : scratch->ensure(bytes);
    if (work == nullptr) throw std::runtime_error("no work buffer");
    if (geometry.mode == resize::Mode::kNearest) {
      fill_nearest_tables(geometry, cell, work, *kernels);
    } else {
      fill_tables(geometry, work, *kernels);
    }
    thread::release_thread_context();
  };
}

}  // namespace kyv::bench
