#include "resize/quad_rows.h"

#include <algorithm>

namespace kyv::resize {
QuadRows::QuadRows(const TapTable& table, const Geometry& geometry, const LaneSource& source,
                   const ShuffledKernels& passes) noexcept
    : table_(table),
      usable_size_(geometry.x.usable_size),
      count_(geometry.x.count),
      channels_(source.channels),
      sample_bytes_(source.sample_bytes),
      left_windows_(4 / source.sample_bytes - 1) {
  const bool fits = passes.rows > 0 && channels_ >= 3 && geometry.y.usable_size >= passes.rows &&
                    usable_size_ >= shuffled_reach(channels_ * sample_bytes_);
  if (!fits || !pays(geometry.x.inverse)) return;
  pass_ = passes.pass[sample_bytes_ - 1][channels_ - 3];
  fill_places(passes.no_place);
}

void QuadRows::run(const std::uint8_t* source, std::ptrdiff_t step, std::int32_t first, std::int32_t count,
                   float* const* out) const noexcept {
  const std::int32_t window_bytes = (4 / sample_bytes_) * kShuffledBytes;
  ShuffledArgs args;
  args.source = source;
  args.step = step;
  args.usable_size = usable_size_;
  args.places = places_ + left_windows_ * window_bytes;
  args.table = table_;
  args.first = first;
  args.count = count;
  args.out = out;
  pass_(args);
}

// As measured: other passes turn each sample into a float less often, the more often the farther the pixels
// are apart. RGB leaves a quarter of the lanes idle.
bool QuadRows::pays(double inverse) const noexcept {
  std::int32_t taps = 0;
  for (std::int32_t i = 0; i < count_; ++i) taps = std::max(taps, table_.spans[i].count);
  if (taps > kShuffledTaps) return false;
  return channels_ == 4 ? taps <= 5 || taps <= 2.0 * inverse + 1.0 : taps <= 2.0 * inverse;
}

// For windows that begin up to `left_windows_` pixels before the row, then for those within it, then for
// those that begin 1, 2, ... pixels behind the last of these and end with the row.
void QuadRows::fill_places(std::uint8_t no_place) noexcept {
  const std::int32_t pixel_bytes = channels_ * sample_bytes_;
  const Index reach = shuffled_reach(pixel_bytes);
  std::uint8_t* to = places_;
  for (Index distance = -left_windows_; distance < reach; ++distance) {
    for (Index pixel = 0; pixel <= left_windows_; ++pixel) {
      const Index byte = distance <= 0
                             ? std::max<Index>(distance + pixel, 0) * pixel_bytes
                             : kShuffledBytes - std::max<Index>(reach - distance - pixel, 1) * pixel_bytes;
      for (Index i = 0; i < kShuffledBytes; ++i) {
        const Index channel = i / 4;
        const bool has_place = channel < channels_ && i % 4 < sample_bytes_;
        *to++ = has_place ? static_cast<std::uint8_t>(byte + channel * sample_bytes_ + i % 4) : no_place;
      }
    }
  }
}

}  // namespace kyv::resize
