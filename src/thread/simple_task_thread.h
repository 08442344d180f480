// A thread that waits to be woken, runs one task, reports it done, and waits again.
#pragma once

#include <atomic>
#include <cstdint>

#include "thread/event.h"
#include "thread/my_thread.h"
#include "thread/task_record.h"

namespace kyv::thread {

// Its thread starts in the constructor. Unusable when its thread handle or its event handle is null: an
// object whose event could not be created starts no thread. Stop it before destroying it.
class CSimpleTaskThread : public CMyThread {
 public:
  CSimpleTaskThread() noexcept;

  bool usable() const noexcept { return handle() != nullptr && wake_up_.handle() != nullptr; }

  // True when the task was taken; false when it is null, has no function, or another one still waits to be
  // taken up. A task that is already running does not count: the next one may be assigned meanwhile.
  bool assign(TaskRecord* task) noexcept;

  // Lets a running task finish, ends the thread, waits for its end and lets go of it. False when that wait
  // failed: the thread may then still run, and this object and what its task knows must be left to it.
  bool stop() noexcept;

 private:
  static unsigned KYV_STDCALL run(void* self) noexcept;
  void run_current_task() noexcept;

  CBaseEvent wake_up_;
  std::atomic<std::uint32_t> quit_{0};
  std::atomic<TaskRecord*> current_{nullptr};
};

}  // namespace kyv::thread
