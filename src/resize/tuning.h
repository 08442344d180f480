// What is known of a processor's speed, beyond its instruction set.
#pragma once

#include <cstdint>

#include "runtime/memory_model.h"

namespace kyv::resize {

// The defaults suit a processor of which nothing is known.
struct Tuning {
  // Bytes of a source from which on the dearer kinds of the permuted row pass are faster than the transposed
  // one: with few taps (more than the L2 holds) and with many (more than a share of the last cache).
  std::uint64_t large_source = runtime::kL2Bytes;
  std::uint64_t huge_source = runtime::kLastCacheBytes;
  // Whether a permutation of two registers costs one operation, as on AMD's cores, and not three.
  bool has_cheap_wide_permutations = false;
};

// For the processor that this call runs on.
Tuning this_tuning() noexcept;

}  // namespace kyv::resize
