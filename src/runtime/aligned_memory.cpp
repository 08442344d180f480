#include "runtime/aligned_memory.h"

#include <cstdint>

#include "platform/platform.h"

namespace kyv::runtime {

namespace {

// `alignment` is a power of two.
void* allocate(std::size_t bytes, std::size_t alignment) {
  const std::size_t overhead = alignment + sizeof(void*);
  if (bytes > SIZE_MAX - overhead) return nullptr;
  void* block = platform::services.malloc(bytes + overhead);
  if (block == nullptr) return nullptr;
  const auto first = reinterpret_cast<std::uintptr_t>(block) + overhead;
  void** memory = reinterpret_cast<void**>(first & ~static_cast<std::uintptr_t>(alignment - 1));
  memory[-1] = block;
  return memory;
}

// Null also where the system has no huge pages to give.
void* allocate_huge_pages(std::size_t bytes) {
  if (platform::services.advise_huge_pages == nullptr || bytes > SIZE_MAX - kHugePage) return nullptr;
  const std::size_t whole = (bytes + kHugePage - 1) / kHugePage * kHugePage;
  void* memory = allocate(whole, kHugePage);
  if (memory != nullptr) platform::services.advise_huge_pages(memory, whole);
  return memory;
}

}  // namespace

void* aligned_allocate(std::size_t bytes) { return allocate(bytes, kMemoryAlignment); }

void* aligned_allocate_large(std::size_t bytes) {
  void* memory = bytes >= kLeastHuge ? allocate_huge_pages(bytes) : nullptr;
  return memory != nullptr ? memory : aligned_allocate(bytes);
}

void aligned_free(void* memory) noexcept {
  if (memory != nullptr) platform::services.free(static_cast<void**>(memory)[-1]);
}

}  // namespace kyv::runtime
