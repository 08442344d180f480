#include "resize/filtered/tents.h"

#include <algorithm>

#include "resize/filtered/blocks.h"
#include "resize/filtered/parts.h"

namespace kyv::resize {

bool write_tents(const ResizeJob& job, const Kernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  const PixelFormat& format = job.format;
  const Index channels = format.channels;
  if (geometry.mode != Mode::kLinear || geometry.x.count * channels < kernels.integers.tents.least_samples)
    return false;
  const BlockAxis x = find_blocks(geometry.x, kMostTentShift);
  const BlockAxis y = find_blocks(geometry.y, kMostTentShift);
  if (x.first < 0 || y.first < 0 || x.shift != y.shift || x.shift == 0) return false;
  const auto write = kernels.integers.tents.write[format.depth][format.channels / 2][x.shift - 1];
  if (write == nullptr) return false;

  const Index block = Index{1} << x.shift;
  const Index pixel = format.pixel_bytes();
  const Index last_row = geometry.y.usable_size - 1;
  const std::uint8_t* const src = job.first_source() + x.first * pixel;
  const Index ahead = job.source_bytes() > job.tuning.prefetched_source ? job.src_step << x.shift : 0;
  std::uint8_t* dst = job.first_destination();
  for (Index row = 0; row < geometry.y.count; ++row, dst += job.dst_step) {
    const Index first_row = y.first + row * block - block / 2;
    for_each_part(geometry.x.count, kTentSamples / (block * channels), [&](Index first, Index end) noexcept {
      const std::uint8_t* rows[2 << kMostTentShift];
      for (Index i = 0; i < 2 * block; ++i) {
        const Index position = std::clamp<Index>(first_row + i, 0, last_row);
        rows[i] = src + position * job.src_step + first * block * pixel;
      }
      write({.rows = rows,
             .samples = (end - first) * channels,
             .left = std::min(x.first + first * block, block / 2),
             .right = std::min(geometry.x.usable_size - x.first - end * block, block / 2),
             .ahead = ahead,
             .dst = dst + first * pixel});
    });
  }
  return true;
}

}  // namespace kyv::resize
