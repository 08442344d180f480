// The allocator behind work buffers and transform plans.
#pragma once

#include <cstddef>

#include "runtime/memory_model.h"

namespace kyv::runtime {

inline constexpr std::size_t kMemoryAlignment = kCacheLine;  // and the widest vector

// Memory aligned to kMemoryAlignment, uninitialised; null when there is none or `bytes` is absurd.
void* aligned_allocate(std::size_t bytes);

// The same for large blocks that are written and read all over the place: from twice kHugePage bytes on, the
// operating system is asked to use huge pages for the whole ones that lie within.
inline constexpr std::size_t kHugePage = std::size_t{2} << 20;
void* aligned_allocate_large(std::size_t bytes);

void aligned_free(void* memory) noexcept;  // null is fine

}  // namespace kyv::runtime
