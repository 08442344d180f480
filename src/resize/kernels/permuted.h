// Kernels of the row pass whose lanes are the destination samples of one row: the source's bytes are permuted
// to their lanes. A vector holds whole pixels: 16 grey ones, 5 of RGB (the last lane idles) or 4 of RGBA.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

inline constexpr Index kPermutedLanes = 16;
inline constexpr Index kPermutedRows = 4;    // source rows taken at a time
inline constexpr Index kMostLanePixels = 2;  // destination pixels whose sums a lane may hold
inline constexpr Index kPermutedSlack = 32;  // floats that may be written beyond a row's results

// Bytes of a row that a permutation chooses from; or of each lane's own window, for grey pixels far apart.
enum WindowSize : std::uint8_t { kNarrowWindow, kWideWindow, kLaneWindows, kWindowSizes };
inline constexpr Index kWindowBytes[kWindowSizes] = {64, 128, 16};
inline constexpr Index kQuarterBytes = 16;   // the same, of a set that permutes within 16 bytes
inline constexpr Index kLaneWindowTaps = 4;  // sums of lane windows have a multiple of as many taps

// Neighbouring destination pixels that are computed together: one in each lane's place, or two, which then
// share the permuted samples of their common taps.
struct PermutedGroup {
  std::int32_t first = 0;     // source position of the first pixel's first tap; may lie outside the source
  std::uint32_t pattern = 0;  // number of its pattern
};

// Where the lanes of a group find their samples. A set permutes either a whole window at the group's
// position, or four windows, each for four lanes, at places of their own. Lane windows begin with their
// samples.
struct alignas(64) PatternLanes {
  std::uint32_t codes[kPermutedLanes];   // of the sample's place in its window, see PlaceCodes
  std::int32_t windows[kPermutedLanes];  // bytes from the group's position; four of them, or each lane's
};

// How a set writes the place of a sample in its window: place n is `first + n * step`.
struct PlaceCodes {
  std::uint32_t first = 0;
  std::uint32_t step = 1;
};

// A pattern has, for every tap of the first pixels and then for every tap of the second pixels, a vector of
// weights. Pixels with fewer taps, and those that start later, have weights of zero: a sum that starts at +0
// is left as it was by 0 * sample.
struct PermutedArgs {
  const std::uint8_t* const* rows = nullptr;  // kPermutedRows: the sample at source position `origin`
  Index origin = 0;
  const PermutedGroup* groups = nullptr;
  Index count = 0;  // groups
  const PatternLanes* lanes = nullptr;
  const float* weights = nullptr;
  Index weights_stride = 0;          // floats of a pattern's weights
  Index taps[kMostLanePixels] = {};  // of the first and the second pixels
  Index lead = 0;                    // positions from the first pixels' first tap to that of the second ones
  std::int32_t code_step = 0;        // what moves a place by one position
  Index window_positions = 0;        // positions that one window serves
  Index window_step = 0;             // bytes of as many
  Index pixel_bytes = 0;             // of a source pixel
  Index group_samples = 0;           // destination samples of a group
  Index ahead = 0;                   // bytes from a sample to the one below it that is read next time
  Index prefetched = 0;              // bytes there that a group prefetches; 0 for none
  std::int32_t channels = 0;
  // Two vectors: the lanes of both pixels' samples in order, of the second ones plus 16 and with a sign bit.
  const std::int32_t* interleave = nullptr;
  float* const* out = nullptr;  // kPermutedRows: row results of the first group
};

// Every window of a group is read whole, and whole vectors of each pixel are written.
using PermutedPass = void(const PermutedArgs& args);

// Null where the set has none.
struct PermutedDepth {
  PermutedPass* pass[kWindowSizes][kMostLanePixels] = {};  // one pixel per lane, two
  PlaceCodes codes;
};

struct PermutedKernels {
  PermutedDepth depth[kDepths] = {};
  bool quarters = false;  // permutes within kQuarterBytes: four small windows, given as narrow ones
};

}  // namespace kyv::resize
