// What a resize call owns while it runs: found through the one thread-local slot, made on first use,
// released at the end of the call.
#pragma once

#include "runtime/object.h"
#include "thread/scratch_buffer.h"
#include "thread/task_pool.h"

namespace kyv::thread {

struct ThreadContext {
  runtime::Owned<ScratchBuffer> scratch;
  OwnedPool pool;  // declared last: its workers end before the buffer goes
};

// The calling thread's context; null when the library is not started, there is no memory, or the slot
// fails (logged).
ThreadContext* get_thread_context();

// The calling thread's work buffer, empty at first; null when there is no context or no memory.
ScratchBuffer* get_scratch_buffer();

// The calling thread's pool of one worker less than there are processors; null on a single processor, when
// there is no context, or when any part of the pool could not be made.
TaskPool* get_task_pool();

// Destroys the calling thread's context and clears the slot. Where the slot cannot be cleared (logged) the
// context stays behind it, empty, for the next release. A slot that cannot be read (logged) is cleared all
// the same, so that the thread's next call begins anew: the context that lay behind it is lost.
void release_thread_context() noexcept;

}  // namespace kyv::thread
