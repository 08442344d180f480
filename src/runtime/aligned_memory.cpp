#include "runtime/aligned_memory.h"

#include <cstdint>

#include "platform/platform.h"

namespace kyv::runtime {

void* aligned_allocate(std::size_t bytes) {
  constexpr std::size_t overhead = kMemoryAlignment + sizeof(void*);
  if (bytes > SIZE_MAX - overhead) return nullptr;
  void* block = platform::services.malloc(bytes + overhead);
  if (block == nullptr) return nullptr;
  const auto first = reinterpret_cast<std::uintptr_t>(block) + overhead;
  void** memory = reinterpret_cast<void**>(first & ~static_cast<std::uintptr_t>(kMemoryAlignment - 1));
  memory[-1] = block;
  return memory;
}

void* aligned_allocate_large(std::size_t bytes) {
  void* memory = aligned_allocate(bytes);
  if (memory == nullptr || bytes < 2 * kHugePage) return memory;
  const std::uintptr_t skipped = (0 - reinterpret_cast<std::uintptr_t>(memory)) % kHugePage;
  const std::size_t whole = (bytes - skipped) / kHugePage * kHugePage;
  platform::services.advise_huge_pages(static_cast<std::byte*>(memory) + skipped, whole);
  return memory;
}

void aligned_free(void* memory) noexcept {
  if (memory != nullptr) platform::services.free(static_cast<void**>(memory)[-1]);
}

}  // namespace kyv::runtime
