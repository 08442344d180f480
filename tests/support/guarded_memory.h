// Memory between inaccessible pages: a read or write one byte outside faults.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::test {

class GuardedMemory {
 public:
  explicit GuardedMemory(std::size_t bytes);
  ~GuardedMemory();
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;

  std::size_t size() const noexcept { return size_; }      // whole pages, at least as many bytes as asked
  std::uint8_t* begin() const noexcept { return begin_; }  // directly behind an inaccessible page
  std::uint8_t* end() const noexcept { return begin_ + size_; }  // the start of the next one

 private:
  std::uint8_t* mapping_ = nullptr;
  std::uint8_t* begin_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace kyv::test
