#include "support/guarded_memory.h"

#include <map>
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
bool make_inaccessible(void* first, std::size_t bytes) {
  DWORD before = 0;
  return VirtualProtect(first, bytes, PAGE_NOACCESS, &before) != 0;
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
bool make_inaccessible(void* first, std::size_t bytes) { return mprotect(first, bytes, PROT_NONE) == 0; }
void release(void* mapping, std::size_t bytes) { munmap(mapping, bytes); }
#endif

// Mappings that wait, inaccessible, for the next memory of their size: new pages take longer than all else
// that a small trial does. Trials make and release them on one thread.
class Spare {
 public:
  std::uint8_t* take(std::size_t size) {
    const auto found = mappings_.find(size);
    if (found == mappings_.end()) return static_cast<std::uint8_t*>(reserve(size + 2 * kPage));
    std::uint8_t* const mapping = found->second;
    mappings_.erase(found);
    bytes_ -= size;
    return mapping;
  }

  void give_back(std::uint8_t* mapping, std::size_t size) {
    if (bytes_ + size > kMostBytes || !make_inaccessible(mapping + kPage, size)) {
      release(mapping, size + 2 * kPage);
      return;
    }
    mappings_.emplace(size, mapping);
    bytes_ += size;
  }

 private:
  static constexpr std::size_t kMostBytes = std::size_t{16} << 20;

  std::multimap<std::size_t, std::uint8_t*> mappings_;
  std::size_t bytes_ = 0;
};

// Outlives every static object that holds guarded memory.
Spare& spare() {
  static Spare& mappings = *new Spare;
  return mappings;
}

}  // namespace

GuardedMemory::GuardedMemory(std::size_t bytes) : size_((bytes + kPage - 1) / kPage * kPage) {
  mapping_ = spare().take(size_);
  if (mapping_ == nullptr) throw std::bad_alloc();
  begin_ = mapping_ + kPage;
  if (make_accessible(begin_, size_)) return;
  release(mapping_, size_ + 2 * kPage);
  throw std::bad_alloc();
}

GuardedMemory::~GuardedMemory() { spare().give_back(mapping_, size_); }

}  // namespace kyv::test
