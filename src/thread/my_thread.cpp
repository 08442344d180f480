#include "thread/my_thread.h"

namespace kyv::thread {

using platform::services;

CMyThread::~CMyThread() { close(); }

int CMyThread::start() noexcept {
  handle_ = services._beginthreadex(routine_, argument_, &identifier_);
  if (handle_ != nullptr) return 0;
  identifier_ = 0;
  return -1;
}

bool CMyThread::join() const noexcept {
  return handle_ == nullptr || services.WaitForSingleObject(handle_) == platform::kWaitObject0;
}

int CMyThread::close() noexcept {
  if (handle_ != nullptr) services.CloseHandle(handle_);
  handle_ = nullptr;
  identifier_ = 0;
  return 0;
}

}  // namespace kyv::thread
