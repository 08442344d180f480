// A work buffer that grows to the largest size asked of it.
#pragma once

#include <cstdint>

namespace kyv::thread {

class ScratchBuffer {
 public:
  ScratchBuffer() = default;
  ScratchBuffer(const ScratchBuffer&) = delete;
  ScratchBuffer& operator=(const ScratchBuffer&) = delete;
  ~ScratchBuffer();

  // At least `bytes` bytes aligned to runtime::kMemoryAlignment, uninitialised, or null when there is no
  // memory. Growing loses the contents; a size within the capacity gives the same buffer again, which is
  // null as long as nothing was ever allocated.
  void* ensure(std::int32_t bytes);

  std::int32_t capacity() const noexcept { return capacity_; }

 private:
  void* data_ = nullptr;
  std::int32_t capacity_ = 0;
};

}  // namespace kyv::thread
