// The allocator behind work buffers and transform plans.
#pragma once

#include <cstddef>

namespace kyv::runtime {

inline constexpr std::size_t kMemoryAlignment = 64;  // one cache line, one 512-bit vector

// Memory aligned to kMemoryAlignment, uninitialised; null when there is none or `bytes` is absurd.
void* aligned_allocate(std::size_t bytes) noexcept;
void aligned_free(void* memory) noexcept;  // null is fine

}  // namespace kyv::runtime
