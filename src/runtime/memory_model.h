// What the library takes for granted about caches and registers. Kernel units include it: constants only.
#pragma once

#include <cstddef>

namespace kyv::runtime {

// Bytes of a cache line, and what vectors and tables are aligned to.
inline constexpr std::size_t kCacheLine = 64;

// Addresses this far apart share a set of the L1: eight of them, or twelve, push one another out.
inline constexpr std::size_t kCollidingStride = 4096;

// Bytes of L2 that a core can count on, and of the last cache while others work beside it.
inline constexpr std::size_t kL2Bytes = std::size_t{1} << 20;
inline constexpr std::size_t kLastCacheBytes = std::size_t{8} << 20;

// From this size on, what a call writes and does not read again goes past the caches.
inline constexpr std::size_t kStreamedBytes = std::size_t{3} << 20;

// 32-bit x86: eight vector registers, whatever the instruction set.
inline constexpr bool kFewRegisters = sizeof(void*) == 4;

}  // namespace kyv::runtime
