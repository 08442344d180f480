// Kernels that move bytes: nearest neighbour as a permutation of bytes, and copies past the caches.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

// Prefetches a cache line that will be read: into the L1, or only into the L2.
template <bool kNear>
[[gnu::always_inline]] inline void prefetch(const std::uint8_t* p) noexcept {
  __builtin_prefetch(p, 0, kNear ? 3 : 1);
}

inline constexpr Index kMostWindows = 4;

// A destination row in pieces of `lanes * lane_bytes` bytes, `step` bytes apart but for the last, which ends
// with the row; where pieces overlap, they agree. Each lane takes its bytes from a window of the source row
// that is `windows` lanes wide.
struct BytePieces {
  const Index* bases = nullptr;           // [piece][lane]: first byte of the window in the source row
  const std::uint8_t* indices = nullptr;  // [piece][byte]: its place in the window
  Index count = 0;
  Index step = 0;
  Index bytes = 0;           // of the destination row; at least those of one piece
  Index windows = 0;         // 1 to kMostWindows
  bool rows_cached = false;  // whether the L1 holds two source rows
};

struct ByteKernels {
  Index lane_bytes = 0;  // 0 where there is no permutation of bytes
  Index lanes = 0;

  // Writes pieces [first, end) of a row, `dst` being the place of the first (or, when that is the last of the
  // row, of its part that no other piece writes). Prefetches the same bytes of the row that lies `ahead`
  // bytes further in the source.
  void (*permute)(const BytePieces& pieces, Index first, Index end, const std::uint8_t* src, Index ahead,
                  std::uint8_t* dst) = nullptr;
  // Copies past the caches, or null. The caller fences before it returns to others.
  void (*stream)(const std::uint8_t* src, std::uint8_t* dst, Index bytes) = nullptr;
  void (*stream_fence)() = nullptr;
};

}  // namespace kyv::resize
