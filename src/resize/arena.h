// Carves the one work buffer into arrays. The same code measures how large the buffer has to be.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::resize {

class Arena {
 public:
  static constexpr std::size_t kAlignment = 64;
  static constexpr std::uint64_t kLimit = std::uint64_t{1} << 62;

  // Without a buffer, arrays are only counted.
  Arena() = default;
  explicit Arena(void* buffer) noexcept
      : base_(static_cast<unsigned char*>(buffer) +
              (kAlignment - reinterpret_cast<std::uintptr_t>(buffer) % kAlignment) % kAlignment) {}

  template <class T>
  T* take(std::uint64_t count) noexcept {
    const std::uint64_t offset = used_;
    const std::uint64_t room = kLimit - used_;
    if (count > room / sizeof(T) || count * sizeof(T) > room - kAlignment) {
      used_ = kLimit - kAlignment;
    } else {
      used_ += (count * sizeof(T) + kAlignment - 1) / kAlignment * kAlignment;
    }
    return base_ == nullptr ? nullptr : reinterpret_cast<T*>(base_ + offset);
  }

  // Bytes of a buffer of any alignment that holds everything taken; kLimit when it is absurd.
  std::uint64_t bytes() const noexcept { return used_ + kAlignment; }

 private:
  unsigned char* base_ = nullptr;
  std::uint64_t used_ = 0;
};

}  // namespace kyv::resize
