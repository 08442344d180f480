// Memory that no cache holds.
#pragma once

#include <emmintrin.h>

#include <cstddef>

namespace kyv::bench {

// Writes back and drops every cache line of the bytes.
inline void evict(const void* memory, std::size_t bytes) noexcept {
  const auto* p = static_cast<const char*>(memory);
  for (std::size_t i = 0; i < bytes; i += 64) _mm_clflush(p + i);
  _mm_mfence();
}

}  // namespace kyv::bench
