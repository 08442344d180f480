#include "resize/filtered/shuffled_rows.h"

namespace kyv::resize {

std::optional<ShuffledRows> ShuffledRows::plan(const RowPassFacts& facts) noexcept {
  const ShuffledKernels& kernels = facts.kernels.shuffled;
  const bool fits = kernels.rows > 0 && facts.format.channels >= 3 && facts.x.most_taps <= kShuffledTaps &&
                    facts.geometry.y.usable_size >= kernels.rows &&
                    facts.geometry.x.usable_size >= shuffled_reach(facts.format.pixel_bytes());
  if (!fits) return std::nullopt;
  const ColourChannels channels = facts.format.channels == 3 ? kThreeChannels : kFourChannels;
  return ShuffledRows(facts, kernels.pass[facts.format.depth][channels]);
}

ShuffledRows::ShuffledRows(const RowPassFacts& facts, ShuffledPass* pass) noexcept
    : pass_(pass),
      rows_(facts.kernels.shuffled.rows),
      table_(facts.x.table),
      usable_size_(facts.geometry.x.usable_size),
      left_windows_(shuffled_pixels(facts.format.depth) - 1) {
  fill_places(facts.format, facts.kernels.shuffled.no_place);
}

// Where too few rows follow, the batch begins earlier and repeats results.
Index ShuffledRows::run(Index first_row, const Strip& strip, const SourceRows& source,
                        const RowRing& ring) const noexcept {
  const Index begin = std::min(first_row, source.usable_size - rows_);
  float* targets[kMostRows];
  list_targets(begin, rows_, source, ring, targets);
  pass_({.source = source.row(begin),
         .step = source.step,
         .usable_size = usable_size_,
         .places = places_ + left_windows_ * (left_windows_ + 1) * kShuffledBytes,
         .table = table_,
         .first = strip.first,
         .count = strip.count,
         .out = targets});
  return std::min(begin + rows_, source.end) - first_row;
}

// For windows that begin up to `left_windows_` pixels before the row, then for those within it, then for
// those that begin 1, 2, ... pixels behind the last of these and end with the row.
void ShuffledRows::fill_places(const PixelFormat& format, std::uint8_t no_place) noexcept {
  const Index bytes = sample_bytes(format.depth);
  const Index pixel_bytes = format.pixel_bytes();
  const Index reach = shuffled_reach(pixel_bytes);
  std::uint8_t* to = places_;
  for (Index distance = -left_windows_; distance < reach; ++distance) {
    for (Index pixel = 0; pixel <= left_windows_; ++pixel) {
      const Index byte = distance <= 0
                             ? std::max<Index>(distance + pixel, 0) * pixel_bytes
                             : kShuffledBytes - std::max<Index>(reach - distance - pixel, 1) * pixel_bytes;
      for (Index i = 0; i < kShuffledBytes; ++i) {
        const Index channel = i / 4;
        const bool has_place = channel < format.channels && i % 4 < bytes;
        *to++ = has_place ? static_cast<std::uint8_t>(byte + channel * bytes + i % 4) : no_place;
      }
    }
  }
}

}  // namespace kyv::resize
