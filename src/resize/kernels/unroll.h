// Loops over the members of a tile, unrolled while templates are expanded: only then do compilers keep the
// tile's arrays in registers. Loops of few turns, too, which a number known late counts.
#pragma once

#include <cstdint>

namespace kyv::resize {
namespace {

template <int kIndex>
struct Index {
  constexpr operator int() const noexcept { return kIndex; }
};

// Calls body(Index<kFirst>()) ... body(Index<kEnd - 1>()).
template <int kFirst, int kEnd, class Body>
[[gnu::always_inline]] inline void unroll(const Body& body) noexcept {
  if constexpr (kFirst < kEnd) {
    body(Index<kFirst>());
    unroll<kFirst + 1, kEnd>(body);
  }
}

// body(Index<count>()) for a count from 1 to kMost. Mark large bodies as always inlined: calls of them cost
// short sums 3 to 7 %.
template <int kMost, class Body>
[[gnu::always_inline]] inline auto with_count(std::int32_t count, const Body& body) noexcept {
  if constexpr (kMost > 1) {
    if (count != kMost) return with_count<kMost - 1>(count, body);
  }
  return body(Index<kMost>());
}

}  // namespace
}  // namespace kyv::resize
