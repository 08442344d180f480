#include "support/guarded_memory.h"

#include <new>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#endif

namespace kyv::test {
namespace {

constexpr std::size_t kPage = 65536;  // a multiple of every page size in use

#ifdef _WIN32
void* reserve(std::size_t bytes) { return VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS); }
bool make_accessible(void* first, std::size_t bytes) {
  return VirtualAlloc(first, bytes, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}
void release(void* mapping, std::size_t) { VirtualFree(mapping, 0, MEM_RELEASE); }
#else
void* reserve(std::size_t bytes) {
  void* mapping = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return mapping == MAP_FAILED ? nullptr : mapping;
}
bool make_accessible(void* first, std::size_t bytes) {
  return mprotect(first, bytes, PROT_READ | PROT_WRITE) == 0;
}
void release(void* mapping, std::size_t bytes) { munmap(mapping, bytes); }
#endif

}  // namespace

GuardedMemory::GuardedMemory(std::size_t bytes) : size_((bytes + kPage - 1) / kPage * kPage) {
  mapping_ = static_cast<std::uint8_t*>(reserve(size_ + 2 * kPage));
  if (mapping_ == nullptr) throw std::bad_alloc();
  begin_ = mapping_ + kPage;
  if (make_accessible(begin_, size_)) return;
  release(mapping_, size_ + 2 * kPage);
  throw std::bad_alloc();
}

GuardedMemory::~GuardedMemory() { release(mapping_, size_ + 2 * kPage); }

}  // namespace kyv::test
