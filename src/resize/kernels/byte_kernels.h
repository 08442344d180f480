// Kernels that move bytes: nearest neighbour as a permutation of bytes, and copies past the caches.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::resize {

// Fetches a cache line that will be read: into the first cache, or only into the second.
template <bool kNear>
[[gnu::always_inline]] inline void fetch(const std::uint8_t* p) noexcept {
  __builtin_prefetch(p, 0, kNear ? 3 : 1);
}

inline constexpr std::int32_t kMostWindows = 4;

// A destination row in pieces of `lanes * lane_bytes` bytes, `step` bytes apart but for the last, which ends
// with the row; where pieces overlap, they agree. Each lane takes its bytes from a window of the source row
// that is `windows` lanes wide.
struct BytePieces {
  const std::size_t* bases = nullptr;     // [piece][lane]: first byte of the window in the source row
  const std::uint8_t* indices = nullptr;  // [piece][byte]: its place in the window
  std::size_t count = 0;
  std::size_t step = 0;
  std::size_t bytes = 0;     // of the destination row; at least those of one piece
  std::int32_t windows = 0;  // 1 to kMostWindows
  bool rows_cached = false;  // whether the first cache holds two source rows
};

struct ByteKernels {
  std::int32_t lane_bytes = 0;  // 0 where there is no permutation of bytes
  std::int32_t lanes = 0;

  // Writes pieces [first, end) of a row, `dst` being the place of the first (or, when that is the last of the
  // row, of its part that no other piece writes). Fetches the same bytes of the row that lies `ahead` bytes
  // further in the source.
  void (*permute)(const BytePieces& pieces, std::size_t first, std::size_t end, const std::uint8_t* src,
                  std::ptrdiff_t ahead, std::uint8_t* dst) = nullptr;
  // Copies past the caches, or null. The caller fences before it returns to others.
  void (*stream)(const std::uint8_t* src, std::uint8_t* dst, std::size_t bytes) = nullptr;
  void (*stream_fence)() = nullptr;
};

}  // namespace kyv::resize
