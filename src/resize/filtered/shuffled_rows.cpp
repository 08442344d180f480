#include "resize/filtered/shuffled_rows.h"

namespace kyv::resize {
namespace {

constexpr Index kMostRows = 16;
constexpr Index kMostWindows = 9;  // of different places: 8-bit RGB

struct Places {
  std::uint8_t at[kMostWindows * shuffled_pixels(kDepth8) * kShuffledBytes] = {};
};

// For windows that begin up to `left` pixels before the row, then for those within it, then for those that
// begin 1, 2, ... pixels behind the last of these and end with the row.
constexpr Places places_of(Depth depth, Index channels) noexcept {
  Places places;
  const Index bytes = sample_bytes(depth);
  const Index pixel_bytes = channels * bytes;
  const Index reach = shuffled_reach(pixel_bytes);
  const Index left = shuffled_pixels(depth) - 1;
  std::uint8_t* to = places.at;
  for (Index distance = -left; distance < reach; ++distance) {
    for (Index pixel = 0; pixel <= left; ++pixel) {
      const Index byte = distance <= 0
                             ? std::max<Index>(distance + pixel, 0) * pixel_bytes
                             : kShuffledBytes - std::max<Index>(reach - distance - pixel, 1) * pixel_bytes;
      for (Index i = 0; i < kShuffledBytes; ++i) {
        const Index channel = i / 4;
        const bool has_place = channel < channels && i % 4 < bytes;
        *to++ = has_place ? static_cast<std::uint8_t>(byte + channel * bytes + i % 4) : kNoPlace;
      }
    }
  }
  return places;
}

constexpr Places kPlaces[kDepths][kColourChannels] = {{places_of(kDepth8, 3), places_of(kDepth8, 4)},
                                                      {places_of(kDepth16, 3), places_of(kDepth16, 4)}};

}  // namespace

std::optional<ShuffledRows> ShuffledRows::plan(const RowPassFacts& facts) noexcept {
  const ShuffledKernels& kernels = facts.kernels.shuffled;
  const bool fits = kernels.rows > 0 && facts.format.channels >= 3 && facts.x.most_taps <= kShuffledTaps &&
                    facts.geometry.y.usable_size >= kernels.rows &&
                    facts.geometry.x.usable_size >= shuffled_reach(facts.format.pixel_bytes());
  if (!fits) return std::nullopt;
  return ShuffledRows(facts);
}

ShuffledRows::ShuffledRows(const RowPassFacts& facts) noexcept
    : rows_(facts.kernels.shuffled.rows), table_(facts.x.table), usable_size_(facts.geometry.x.usable_size) {
  const Depth depth = facts.format.depth;
  const ColourChannels channels = facts.format.channels == 3 ? kThreeChannels : kFourChannels;
  const Index left = shuffled_pixels(depth) - 1;
  pass_ = facts.kernels.shuffled.pass[depth][channels];
  places_ = kPlaces[depth][channels].at + left * (left + 1) * kShuffledBytes;
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
         .places = places_,
         .table = table_,
         .first = strip.first,
         .count = strip.count,
         .out = targets});
  return std::min(begin + rows_, source.end) - first_row;
}

}  // namespace kyv::resize
