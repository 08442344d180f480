#include "resize/filtered/block_means.h"

#include "resize/filtered/blocks.h"
#include "resize/filtered/parts.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

constexpr Index kStagedSamples = 1024;  // samples on their way past the caches

// Writes rows by way of a buffer past the caches, in parts that are alike.
void stream_row(MeanArgs args, void (*mean)(const MeanArgs&), int width, const PixelFormat& format,
                const ByteKernels& bytes) noexcept {
  alignas(runtime::kCacheLine) std::uint8_t staged[2 * kStagedSamples];
  const MeanArgs whole = args;
  args.dst = staged;
  for_each_part(whole.samples / format.channels, kStagedSamples / format.channels,
                [&](Index first, Index end) noexcept {
                  args.samples = (end - first) * format.channels;
                  args.src = whole.src + (first << width) * format.pixel_bytes();
                  mean(args);
                  bytes.stream(staged, whole.dst + first * format.pixel_bytes(),
                               args.samples * sample_bytes(format.depth));
                });
}

}  // namespace

bool write_block_means(const ResizeJob& job, const Kernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  const PixelFormat& format = job.format;
  const Index samples = Index{geometry.x.count} * format.channels;
  const Index least = kernels.integers.means.least_samples;
  if (geometry.mode != Mode::kSuper || least == 0 || samples < least) return false;
  const BlockAxis x = find_blocks(geometry.x, kMostMeanShift);
  const BlockAxis y = find_blocks(geometry.y, kMostMeanRowShift);
  if (x.first < 0 || y.first < 0 || x.shift + y.shift == 0) return false;

  const auto mean = kernels.integers.means.mean[format.depth][format.channels / 2][x.shift];
  if (mean == nullptr) return false;
  const bool is_streamed = kernels.bytes.stream != nullptr && job.has_large_destination();
  MeanArgs args{.src = job.first_source() + y.first * job.src_step + x.first * format.pixel_bytes(),
                .src_step = job.src_step,
                .rows = Index{1} << y.shift,
                .shift = x.shift + y.shift,
                .samples = samples,
                .ahead = job.source_bytes() > job.tuning.prefetched_source ? job.src_step << y.shift : 0,
                .dst = job.first_destination()};
  for (std::int32_t row = 0; row < geometry.y.count; ++row) {
    if (is_streamed) {
      stream_row(args, mean, x.shift, format, kernels.bytes);
    } else {
      mean(args);
    }
    args.src += args.rows * job.src_step;
    args.dst += job.dst_step;
  }
  if (is_streamed) kernels.bytes.stream_fence();
  return true;
}

}  // namespace kyv::resize
