// The allocator behind work buffers and transform plans.
#pragma once

#include <cstddef>

#include "runtime/memory_model.h"

namespace kyv::runtime {

inline constexpr std::size_t kMemoryAlignment = kCacheLine;  // and the widest vector

// Memory aligned to kMemoryAlignment, uninitialised; null when there is none or `bytes` is absurd.
void* aligned_allocate(std::size_t bytes);

// The same for large blocks that are written and read all over the place: from kLeastHuge bytes on they lie
// in whole huge pages of their own, for which the operating system is asked, where it can be and there is
// room.
inline constexpr std::size_t kHugePage = std::size_t{2} << 20;
inline constexpr std::size_t kLeastHuge = std::size_t{1} << 19;
void* aligned_allocate_large(std::size_t bytes);

void aligned_free(void* memory) noexcept;  // null is fine

}  // namespace kyv::runtime
