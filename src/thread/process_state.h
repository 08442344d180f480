// What start-up leaves for the threads that come later: the thread-local slot and the processor count.
//
// Plain variables: they change only while no other thread is inside the library.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace kyv::thread {

// The one thread-local slot; its value is the calling thread's context.
struct ThreadSlot {
  std::uint32_t index = platform::kTlsOutOfIndexes;
};

// False when there is no memory or no slot (logged); whatever was made is then undone by
// release_thread_slot(), which also serves when nothing was made.
bool create_thread_slot();
void release_thread_slot();
const ThreadSlot* thread_slot() noexcept;  // null before start-up, after shut-down, after a failed start-up

// 0 until a start-up got far enough to ask the operating system, then at least 1.
void read_processor_count() noexcept;
std::uint32_t processor_count() noexcept;

}  // namespace kyv::thread
