// Worker threads for one batch of tasks at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "runtime/object.h"
#include "thread/event.h"
#include "thread/simple_task_thread.h"
#include "thread/task_record.h"

namespace kyv::thread {

// A task thread and the record of the task that it was given last.
struct WorkerSlot {
  runtime::Owned<TaskRecord> task;
  runtime::Owned<CSimpleTaskThread> thread;

  bool usable() const noexcept { return task && thread && thread->usable(); }
};

// Owned and driven by one thread; its workers touch only their own record and the completion of the batch.
// Stop it before destroying it, as an OwnedPool does.
class TaskPool {
 public:
  // Starts `worker_count` workers, at least 1. Not valid() unless every one of them can work.
  explicit TaskPool(std::int32_t worker_count) noexcept;
  TaskPool(const TaskPool&) = delete;
  TaskPool& operator=(const TaskPool&) = delete;
  ~TaskPool();

  // Ends the workers and destroys them, in the order of their indices; a batch still running is finished
  // first. False when the end of one could not be awaited: it may still run, so its slot is left to it, and
  // this pool, to which it reports, must be too.
  bool stop() noexcept;

  bool valid() const noexcept { return valid_; }
  std::int32_t worker_count() const noexcept { return worker_count_; }

  // Hands function(arguments[i]), or function(nullptr) without an array, to worker i for i in [0, count).
  // Returns how many were handed out: fewer than `count` when a worker cannot take its task. Refused with
  // -1: an invalid pool, no function, a count outside [1, worker_count()], a batch not yet waited for.
  std::int32_t run_batch(TaskFunction function, std::int32_t count, void* const* arguments) noexcept;

  // Returns when every task that was handed out is done; at once when there is none.
  void wait_batch() noexcept;

  // The 32-bit result of worker `index`'s last task. Only after wait_batch().
  std::uint32_t result(std::int32_t index) const noexcept { return workers_[index]->task->result; }

  void report_completion() noexcept;  // called by a worker after each task

 private:
  bool start_workers();

  bool valid_ = false;
  std::int32_t worker_count_;
  WorkerSlot** workers_ = nullptr;
  std::atomic<std::int32_t> submitted_{0};
  std::atomic<std::int32_t> done_{0};
  CSimpleEvent completion_;
};

// Stops a pool and destroys it, unless a worker may still need it: better lost than pulled from under it.
struct PoolDeleter {
  void operator()(TaskPool* pool) const noexcept {
    if (pool->stop()) runtime::ObjectDeleter()(pool);
  }
};
using OwnedPool = std::unique_ptr<TaskPool, PoolDeleter>;

}  // namespace kyv::thread
