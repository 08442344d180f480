#include "thread/task_pool.h"

#include <new>
#include <utility>

#include "platform/platform.h"

namespace kyv::thread {
namespace {

// Null only when there is no memory for the slot itself; otherwise a slot that may be unusable.
runtime::Owned<WorkerSlot> make_worker(TaskPool* pool) {
  auto worker = runtime::make_object<WorkerSlot>();
  if (!worker) return worker;
  worker->task = runtime::make_object<TaskRecord>();
  if (!worker->task) return worker;
  worker->task->pool = pool;
  worker->thread = runtime::make_object<CSimpleTaskThread>();
  return worker;
}

}  // namespace

TaskPool::TaskPool(std::int32_t worker_count) noexcept : worker_count_(worker_count) {
  try {
    valid_ = start_workers() && completion_.handle() != nullptr;
  } catch (const std::bad_alloc&) {
    valid_ = false;
  }
}

bool TaskPool::start_workers() {
  const auto count = static_cast<std::size_t>(worker_count_);
  workers_ = static_cast<WorkerSlot**>(platform::services.calloc(count, sizeof(WorkerSlot*)));
  if (workers_ == nullptr) return false;
  for (std::size_t i = 0; i < count; ++i) {
    workers_[i] = make_worker(this).release();
    if (workers_[i] == nullptr || !workers_[i]->usable()) return false;
  }
  return true;
}

TaskPool::~TaskPool() { platform::services.free(workers_); }

bool TaskPool::stop() noexcept {
  bool all_ended = true;
  for (std::int32_t i = 0; workers_ != nullptr && i < worker_count_; ++i) {
    WorkerSlot* const worker = workers_[i];
    if (worker == nullptr) continue;
    const bool ended = !worker->thread || worker->thread->stop();
    all_ended &= ended;
    if (ended) runtime::Owned<WorkerSlot>(std::exchange(workers_[i], nullptr)).reset();
  }
  return all_ended;
}

std::int32_t TaskPool::run_batch(TaskFunction function, std::int32_t count, void* const* arguments) noexcept {
  const bool pending = submitted_.load() != 0;
  if (!valid_ || function == nullptr || count < 1 || count > worker_count_ || pending) return -1;
  for (std::int32_t i = 0; i < count; ++i) {
    WorkerSlot& worker = *workers_[i];
    if (!worker.usable()) break;
    worker.task->function = function;
    worker.task->argument = arguments != nullptr ? arguments[i] : nullptr;
    if (!worker.thread->assign(worker.task.get())) break;
    ++submitted_;
  }
  return submitted_.load();
}

// The event alone does not tell that the batch is done: a worker that is faster than the next hand-off
// signals it early. The last worker to finish always signals after the done count has reached the
// submitted one, so a wait that begins below that count is always ended.
void TaskPool::wait_batch() noexcept {
  if (submitted_.load() < 1) return;
  while (done_.load() < submitted_.load()) completion_.wait();
  submitted_.store(0);
  done_.store(0);
}

void TaskPool::report_completion() noexcept {
  if (platform::services.InterlockedIncrement(&done_) >= submitted_.load()) completion_.set();
}

}  // namespace kyv::thread
