#include "thread/simple_task_thread.h"

#include "runtime/debug_print.h"
#include "thread/task_pool.h"

namespace kyv::thread {

CSimpleTaskThread::CSimpleTaskThread() noexcept : CMyThread(run, this) {
  if (wake_up_.handle() != nullptr) start();
}

bool CSimpleTaskThread::assign(TaskRecord* task) noexcept {
  if (task == nullptr || task->function == nullptr || current_.load() != nullptr) return false;
  current_.store(task);
  wake_up_.set();
  return true;
}

bool CSimpleTaskThread::stop() noexcept {
  quit_.store(1);
  if (handle() == nullptr) return true;
  wake_up_.set();
  const bool ended = join();
  close();
  return ended;
}

KYV_REALIGN_STACK unsigned KYV_STDCALL CSimpleTaskThread::run(void* self) noexcept {
  auto& thread = *static_cast<CSimpleTaskThread*>(self);
  for (;;) {
    const std::uint32_t woken = thread.wake_up_.wait();
    if (woken != platform::kWaitObject0) {
      runtime::debug_print("WaitForSingleObject Error : dwWFSO=0x%08X, dwError=%u\n", woken,
                           platform::services.GetLastError());
      continue;
    }
    if (thread.quit_.load() != 0) return 0;
    thread.run_current_task();
  }
}

void CSimpleTaskThread::run_current_task() noexcept {
  TaskRecord* task = current_.exchange(nullptr);
  if (task == nullptr) return;
  task->result = task->function(task->argument);
  if (task->pool != nullptr) task->pool->report_completion();
}

}  // namespace kyv::thread
