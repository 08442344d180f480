#include "thread/scratch_buffer.h"

#include <cstddef>
#include <utility>

#include "runtime/aligned_memory.h"

namespace kyv::thread {

ScratchBuffer::~ScratchBuffer() { runtime::aligned_free(data_); }

void* ScratchBuffer::ensure(std::int32_t bytes) {
  if (bytes <= capacity_) return data_;
  runtime::aligned_free(std::exchange(data_, nullptr));
  capacity_ = 0;
  data_ = runtime::aligned_allocate(static_cast<std::size_t>(bytes));
  capacity_ = data_ != nullptr ? bytes : 0;
  return data_;
}

}  // namespace kyv::thread
