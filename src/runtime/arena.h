// Carves one block of memory into arrays. The same code, run without a block, measures how large it has to
// be.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/memory_model.h"

namespace kyv::runtime {

class Arena {
 public:
  static constexpr std::uint64_t kLimit = std::uint64_t{1} << 62;

  Arena() = default;  // counts only
  // Begins at the first cache line that starts within the block; null counts only.
  explicit Arena(void* block, std::uint64_t block_bytes = kLimit) noexcept
      : base_(block == nullptr ? nullptr : static_cast<unsigned char*>(block) + to_line(block)),
        block_bytes_(block_bytes) {}

  // Whether the block, at any address, holds everything taken.
  bool fits() const noexcept { return bytes() <= block_bytes_; }

  bool is_counting() const noexcept { return base_ == nullptr; }

  // Room for `count` uninitialised values from a cache line on; null while counting and beyond the block.
  template <class T>
  T* take(std::uint64_t count) noexcept {
    const std::uint64_t offset = used_;
    const std::uint64_t room = kLimit - used_;
    if (count > room / sizeof(T) || count * sizeof(T) > room - kCacheLine) {
      used_ = kLimit - kCacheLine;
    } else {
      used_ += (count * sizeof(T) + kCacheLine - 1) / kCacheLine * kCacheLine;
    }
    // cppcheck-suppress invalidPointerCast
    return is_counting() || !fits() ? nullptr : reinterpret_cast<T*>(base_ + offset);
  }

  // After a copy of this arena went on by itself: takes as much as it did, if that is more. Arrays taken
  // since from this arena and from the copy lie in the same place, so those of only one can be used.
  void overlay(const Arena& other) noexcept {
    if (other.used_ > used_) used_ = other.used_;
  }

  // Bytes of a block that holds everything taken: aligned to a cache line, or at any address. A count that is
  // absurd gives kLimit, about.
  std::uint64_t aligned_bytes() const noexcept { return used_; }
  std::uint64_t bytes() const noexcept { return used_ + kCacheLine; }

 private:
  static std::size_t to_line(const void* p) noexcept {
    return (kCacheLine - reinterpret_cast<std::uintptr_t>(p) % kCacheLine) % kCacheLine;
  }

  unsigned char* base_ = nullptr;
  std::uint64_t block_bytes_ = kLimit;
  std::uint64_t used_ = 0;
};

}  // namespace kyv::runtime
