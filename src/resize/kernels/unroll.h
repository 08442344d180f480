// Loops over the members of a tile, unrolled while templates are expanded: only then do compilers keep the
// tile's arrays in registers.
#pragma once

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

}  // namespace
}  // namespace kyv::resize
