#include "thread/event.h"

#include "runtime/debug_print.h"

namespace kyv::thread {

using platform::services;
using runtime::debug_print;

CBaseEvent::CBaseEvent() noexcept : handle_(services.CreateEventW()) {
  if (handle_ == nullptr) debug_print("CreateEvent Error : dwError=%u\n", services.GetLastError());
}

CBaseEvent::~CBaseEvent() {
  if (handle_ == nullptr || services.CloseHandle(handle_)) return;
  debug_print("CloseHandle Error : dwError=%u\n", services.GetLastError());
}

void CBaseEvent::set() const noexcept {
  if (!services.SetEvent(handle_)) debug_print("SetEvent Error : dwError=%u\n", services.GetLastError());
}

std::uint32_t CBaseEvent::wait() const noexcept { return services.WaitForSingleObject(handle_); }

}  // namespace kyv::thread
