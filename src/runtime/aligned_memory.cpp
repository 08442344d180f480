#include "runtime/aligned_memory.h"

#include <cstdint>

#include "platform/platform.h"

namespace kyv::runtime {

namespace {

// The alignment is a power of two.
void* allocate(std::size_t bytes, std::size_t alignment) noexcept {
  const std::size_t overhead = alignment + sizeof(void*);
  if (bytes > SIZE_MAX - overhead) return nullptr;
  void* block = platform::services.malloc(bytes + overhead);
  if (block == nullptr) return nullptr;
  const auto first = reinterpret_cast<std::uintptr_t>(block) + overhead;
  void** memory = reinterpret_cast<void**>(first & ~static_cast<std::uintptr_t>(alignment - 1));
  memory[-1] = block;
  return memory;
}

}  // namespace

void* aligned_allocate(std::size_t bytes) noexcept { return allocate(bytes, kMemoryAlignment); }

void* aligned_allocate_large(std::size_t bytes) noexcept {
  if (bytes < kHugePage) return aligned_allocate(bytes);
  void* memory = allocate(bytes, kHugePage);
  if (memory != nullptr) platform::services.advise_huge_pages(memory, bytes / kHugePage * kHugePage);
  return memory;
}

void aligned_free(void* memory) noexcept {
  if (memory != nullptr) platform::services.free(static_cast<void**>(memory)[-1]);
}

}  // namespace kyv::runtime
