// The function table that one instruction set gives to the resize service.
//
// "Lanes" below is float_lanes: a block of that many source rows is turned into vectors whose lanes are its
// rows, so that a tap is one weight in every lane and one vector for any number of channels.
#pragma once

#include <cstddef>
#include <cstdint>

#include "resize/kernels/byte_kernels.h"

namespace kyv::resize {

// Taps of one block: the products of a block are summed from zero, the blocks' sums are added in order.
inline constexpr std::int32_t kTapBlock = 128;

// The taps of one destination index on its axis.
struct TapSpan {
  std::int64_t first = 0;  // source position of the first tap; may lie outside the source
  std::int32_t count = 0;
  std::uint32_t phase = 0;  // number of its row of weights
};

// One axis' weight table.
struct TapTable {
  const TapSpan* spans = nullptr;
  const float* weights = nullptr;  // `stride` floats per phase
  std::size_t stride = 0;
};

// The destination pixels [first, first + count) of one block of rows.
struct RowPassArgs {
  const float* samples = nullptr;  // [source pixel from `origin`][vector of the pixel][lane]
  std::int64_t origin = 0;
  TapTable table;
  std::int32_t first = 0;
  std::int32_t count = 0;
  float* out = nullptr;  // [destination pixel from `first`][vector of the pixel][lane]
};

// The row pass whose lanes are the destination samples of one row. A vector holds whole pixels: 16 grey ones,
// 5 of RGB (the last lane idles) or 4 of RGBA.
inline constexpr std::int32_t kLaneCount = 16;
inline constexpr std::int32_t kLaneRows = 4;                // source rows that it takes at a time
inline constexpr std::int32_t kLaneWindows[2] = {64, 128};  // bytes of a row that a permutation chooses from
inline constexpr std::int32_t kLaneQuarter = 16;  // the same, of a set that permutes within 16 bytes

// Neighbouring destination pixels that are computed together: one in each lane's place, or two, which then
// share the permuted samples of their common taps.
struct LaneGroup {
  std::int32_t first = 0;  // source position of the first pixel's first tap; may lie outside the source
  std::uint32_t pattern = 0;
};

// A pattern is a vector of indices, a vector of the places of the windows, then for every tap of the first
// pixels and every tap of the second pixels a vector of weights. Pixels with fewer taps, and those that start
// later, have weights of zero: a sum that starts at +0 is left as it was by 0 * sample. A set permutes either
// a whole window at the group's position (an index is the number of a sample in it), or four windows, each
// for four lanes, of kLaneQuarter bytes at places of their own (bytes from the group's position; an index is
// that of byte permutations: the numbers of a sample's bytes, then 0x80 for zeros).
struct LanePassArgs {
  const std::uint8_t* const* rows = nullptr;  // kLaneRows: the sample at source position `origin`
  std::int64_t origin = 0;
  const LaneGroup* groups = nullptr;
  std::int32_t count = 0;  // groups
  const float* patterns = nullptr;
  std::size_t stride = 0;             // floats of a pattern
  std::int32_t taps[2] = {};          // of the first and the second pixels
  std::int32_t lead = 0;              // positions from the first pixels' first tap to that of the second ones
  std::int32_t index_step = 0;        // what moves an index by one position
  std::int32_t window_positions = 0;  // positions that one window serves
  std::ptrdiff_t window_step = 0;     // bytes of as many
  std::ptrdiff_t pixel_bytes = 0;     // of a source pixel
  std::size_t group_samples = 0;      // destination samples of a group
  std::ptrdiff_t ahead = 0;           // bytes from a sample to the one below it that is read next time
  std::ptrdiff_t fetched = 0;         // bytes there that a group fetches; 0 for none
  std::int32_t channels = 0;
  // Two vectors of integers: the lanes of both pixels' samples in order, of the second ones plus 16 and with
  // a sign bit.
  const float* interleave = nullptr;
  float* const* out = nullptr;  // kLaneRows: row results of the first group
};

using LanePass = void(const LanePassArgs& args);

// By size of the window and pixels of a lane (1, 2); null where the set has none. Every window of a group is
// read whole, and up to 32 floats are written per group.
struct LaneDepth {
  LanePass* pass[2][2] = {};
};

struct LanePasses {
  LaneDepth depth[2] = {};  // 8-bit, 16-bit
  bool quarters = false;    // takes four small windows
  // Bytes of a source from which on the dearer kinds of this pass are faster than blocks of rows: with few
  // taps (more than the second cache holds) and with many (more than a share of the last cache).
  std::uint64_t large_source = std::uint64_t{1} << 20;
  std::uint64_t huge_source = std::uint64_t{8} << 20;
};

// The row pass of few taps for pixels of three and four channels: a vector holds one pixel of some rows, a
// quad of lanes each. The pixel is permuted out of a window of kQuadBytes of the row, which serves
// neighbouring taps.
inline constexpr std::int32_t kQuadTaps = 8;  // most of them
inline constexpr std::int32_t kQuadBytes = 16;
template <int kBits>
inline constexpr int kQuadPixels = 32 / kBits;  // pixels that a window serves

// Source pixels that a window touches.
constexpr std::int32_t quad_reach(std::int32_t pixel_bytes) noexcept {
  return (kQuadBytes + pixel_bytes - 1) / pixel_bytes;
}

// One block of rows. A window that would begin before the row begins with it, one that would end behind it
// ends with it; `places` tells where its pixels are. It points at quads for the pixels of a window within the
// row: a quad has for every byte of four 32-bit numbers its place in the window, or 0x80 for zero. Quads for
// windows that begin 1, 2, ... pixels before the row come before, those for windows that begin as much behind
// the last one within the row come after; beyond the row, its outermost pixel is repeated.
struct QuadPassArgs {
  const std::uint8_t* source = nullptr;  // the first pixel of the first row
  std::ptrdiff_t step = 0;               // bytes from row to row
  std::int64_t usable_size = 0;          // pixels of a row, at least those that a window touches
  const std::uint8_t* places = nullptr;
  TapTable table;
  std::int32_t first = 0;
  std::int32_t count = 0;
  float* const* out = nullptr;  // row results of the first pixel
};

using QuadPass = void(const QuadPassArgs& args);

struct QuadPasses {
  std::int32_t rows = 0;      // of a block; 0 where the set has none
  QuadPass* pass[2][2] = {};  // 8-bit, 16-bit; three channels, four channels. Write up to one float more.
};

// One or two destination rows from the row results that they share.
struct ColumnPassArgs {
  const float* const* rows = nullptr;  // row results by tap position, from the first tap of row 0
  const float* weights[2] = {};
  std::int32_t count[2] = {};  // taps, at most kTapBlock; 0 in [1] for a single row
  std::int32_t lead = 0;       // first tap of row 1, counted from that of row 0
  std::size_t samples = 0;     // samples of a row
  bool normal = false;         // no product has a bit below the last place of the smallest float
  void* dst[2] = {};
};

struct Kernels {
  std::int32_t float_lanes;  // floats in one vector of this variant
  bool fused;                // has a fused multiply-add; without it, provably exact sums are cheaper

  // Turns `samples` samples of `lanes` rows, from byte `offset` on, into vectors `stride` floats apart: [0]
  // 8-bit, [1] 16-bit samples; [0] a vector is one sample of every row, [1] four vectors are one pixel of
  // four channels of every row, in an order that suits the set. May write up to 15 vectors more; reads
  // nothing more.
  void (*load_block[2][2])(const std::uint8_t* const* rows, std::size_t offset, std::size_t samples,
                           float* out, std::size_t stride);
  // The reverse for row results: vectors `stride` floats apart to `lanes` rows, from float `offset` on; [0]
  // samples, [1] pixels of four channels. Handles groups of `lanes`: may read and write up to lanes - 1
  // samples more.
  void (*store_block[2])(const float* in, std::size_t stride, std::size_t samples, float* const* rows,
                         std::size_t offset);
  std::int32_t rgb_groups;  // groups of rows in a block of RGB; at most 16 rows in all
  // Row pass for 1, 3 * rgb_groups or 4 vectors per pixel: [which of them][sums are exact in double].
  void (*row_pass[3][2])(const RowPassArgs& args);
  LanePasses lane_pass;
  QuadPasses quad_pass;
  // Column pass to the destination's samples: [0] 8-bit, [1] 16-bit. Reads up to kColumnSlack floats more of
  // each row; writes the destination's samples only.
  void (*column_pass[2])(const ColumnPassArgs& args);
  // One block of a longer column sum (row 0 of `args` only): totals = first ? sum : totals + sum.
  void (*column_block)(const ColumnPassArgs& args, bool first, float* totals);
  // Rounds and stores finished totals: [0] 8-bit, [1] 16-bit.
  void (*store_row[2])(const float* totals, std::size_t samples, void* dst);
  // Unnormalised Lanczos weights of the positions first + 0 .. first + count - 1, seen from `centre`, at
  // distances times `scale`. Writes whole vectors: `out` has room for 7 more.
  void (*lanczos)(double centre, double first, double scale, std::int32_t count, double* out);
  ByteKernels bytes;
};

// Floats that a column pass may read beyond a row's last sample.
inline constexpr std::size_t kColumnSlack = 64;

}  // namespace kyv::resize
