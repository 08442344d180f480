// Rows that are too long for one call of a kernel.
#pragma once

#include "resize/kernels/taps.h"

namespace kyv::resize {

// body(first, end) for as few parts of `count` as have at most `most`, which are alike.
template <class Body>
void for_each_part(Index count, Index most, const Body& body) noexcept {
  const Index parts = (count + most - 1) / most;
  for (Index part = 0, first = 0; part < parts; ++part) {
    const Index end = count / parts * (part + 1) + count % parts * (part + 1) / parts;
    body(first, end);
    first = end;
  }
}

}  // namespace kyv::resize
