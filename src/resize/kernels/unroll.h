// Loops over the members of a tile, unrolled while templates are expanded: only then do compilers keep the
// tile's arrays in registers. Loops of few turns, too, which a number known late counts.
#pragma once

#include <cstdint>

namespace kyv::resize {
namespace {

template <int kIndex>
struct Constant {
  constexpr operator int() const noexcept { return kIndex; }
};

// Calls body(Constant<kFirst>()) ... body(Constant<kEnd - 1>()).
template <int kFirst, int kEnd, class Body>
[[gnu::always_inline]] inline void unroll(const Body& body) noexcept {
  if constexpr (kFirst < kEnd) {
    body(Constant<kFirst>());
    unroll<kFirst + 1, kEnd>(body);
  }
}

// body(Constant<count>()) for a count from 1 to kMost. Mark large bodies as always inlined: calls of them
// cost short sums 3 to 7 %.
template <int kMost, class Body>
[[gnu::always_inline]] inline auto with_count(std::int32_t count, const Body& body) noexcept {
  if constexpr (kMost > 1) {
    if (count != kMost) return with_count<kMost - 1>(count, body);
  }
  return body(Constant<kMost>());
}

}  // namespace
}  // namespace kyv::resize
