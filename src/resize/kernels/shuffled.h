// Kernels of the row pass for few taps of three or four channels: a vector holds one pixel of some rows, four
// lanes each, shuffled out of 16 bytes of the row, which serve neighbouring taps.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

inline constexpr Index kShuffledTaps = 8;       // most of them
inline constexpr Index kShuffledBytes = 16;     // of a window
inline constexpr Index kShuffledSlack = 1;      // floats that may be written beyond a row's results
inline constexpr std::uint8_t kNoPlace = 0x80;  // shuffles a byte of zero

// Source pixels whose places a window has.
constexpr Index shuffled_pixels(Depth depth) noexcept { return 4 / sample_bytes(depth); }

// Source pixels that a window touches.
constexpr Index shuffled_reach(Index pixel_bytes) noexcept {
  return (kShuffledBytes + pixel_bytes - 1) / pixel_bytes;
}

// One batch of rows. A window that would begin before the row begins with it, one that would end behind it
// ends with it; `places` tells where its pixels are. It points at 16 bytes for each pixel of a window within
// the row: for every byte of four 32-bit numbers its place in the window, or `kNoPlace`. Those for
// windows that begin 1, 2, ... pixels before the row come before, those for windows that begin as much behind
// the last one within the row come after; beyond the row, its outermost pixel is repeated.
struct ShuffledArgs {
  const std::uint8_t* source = nullptr;  // the first pixel of the first row
  Index step = 0;                        // bytes from row to row
  Index usable_size = 0;                 // pixels of a row, at least those that a window touches
  const std::uint8_t* places = nullptr;
  TapTable table;
  Index first = 0;
  Index count = 0;
  float* const* out = nullptr;  // row results of the first pixel
};

using ShuffledPass = void(const ShuffledArgs& args);

enum ColourChannels : std::uint8_t { kThreeChannels, kFourChannels, kColourChannels };

struct ShuffledKernels {
  Index rows = 0;  // of a batch; 0 where the set has none
  ShuffledPass* pass[kDepths][kColourChannels] = {};
};

}  // namespace kyv::resize
