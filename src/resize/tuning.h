// What is known of a processor's speed, beyond its instruction set.
#pragma once

#include <cstdint>

#include "resize/kernels/taps.h"
#include "runtime/memory_model.h"

namespace kyv::resize {

// The defaults suit a processor of which nothing is known.
struct Tuning {
  // Bytes of a source from which on the dearer kinds of the permuted row pass are faster than the transposed
  // one: with few taps (more than the L2 holds) and with many (more than a share of the last cache).
  std::uint64_t large_source = runtime::kL2Bytes;
  std::uint64_t huge_source = runtime::kLastCacheBytes;
  // Bytes of a source beyond which its rows are prefetched.
  std::uint64_t prefetched_source = runtime::kL2Bytes;
  // Bytes of a destination from which on it is streamed: it would push everything else out of the caches, and
  // itself in the end.
  std::uint64_t streamed_destination = runtime::kLastCacheBytes;
  // Floats of row results that stay in the L2: pictures that need more are made in strips.
  Index ring_floats = 98304;
  // Whether a permutation of two registers costs one operation, as on AMD's cores, and not three.
  bool has_cheap_wide_permutations = false;
};

// For the processor that this call runs on.
Tuning this_tuning() noexcept;

}  // namespace kyv::resize
