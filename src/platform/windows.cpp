#include <process.h>
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "platform/platform.h"

namespace kyv::platform {
namespace {

void get_system_info(SystemInfo* info) {
  SYSTEM_INFO system{};
  ::GetSystemInfo(&system);
  info->number_of_processors = system.dwNumberOfProcessors;
}

std::uint32_t tls_alloc() { return ::TlsAlloc(); }
bool tls_free(std::uint32_t index) { return ::TlsFree(index) != 0; }
void* tls_get_value(std::uint32_t index) { return ::TlsGetValue(index); }
bool tls_set_value(std::uint32_t index, void* value) { return ::TlsSetValue(index, value) != 0; }

std::uint32_t get_last_error() { return ::GetLastError(); }

Handle create_event() { return ::CreateEventW(nullptr, FALSE, FALSE, nullptr); }
bool set_event(Handle event) { return ::SetEvent(event) != 0; }
std::uint32_t wait_for_single_object(Handle handle) { return ::WaitForSingleObject(handle, INFINITE); }
bool close_handle(Handle handle) { return ::CloseHandle(handle) != 0; }

Handle begin_thread(ThreadRoutine routine, void* argument, std::uint32_t* identifier) {
  return reinterpret_cast<Handle>(::_beginthreadex(nullptr, 0, routine, argument, 0, identifier));
}

std::int32_t increment(std::atomic<std::int32_t>* value) {
  static_assert(sizeof *value == sizeof(LONG) && std::atomic<std::int32_t>::is_always_lock_free);
  return ::InterlockedIncrement(reinterpret_cast<volatile LONG*>(value));
}

void output_debug_string(const char* text) { ::OutputDebugStringA(text); }

int format_bounded(char* buffer, std::size_t count, const char* format, std::va_list arguments) {
  return ::_vsnprintf(buffer, count, format, arguments);
}

}  // namespace

constexpr Services operating_system = {
    .GetSystemInfo = get_system_info,
    .TlsAlloc = tls_alloc,
    .TlsFree = tls_free,
    .TlsGetValue = tls_get_value,
    .TlsSetValue = tls_set_value,
    .GetLastError = get_last_error,
    .CreateEventW = create_event,
    .SetEvent = set_event,
    .WaitForSingleObject = wait_for_single_object,
    .CloseHandle = close_handle,
    ._beginthreadex = begin_thread,
    .InterlockedIncrement = increment,
    .OutputDebugStringA = output_debug_string,
    ._vsnprintf = format_bounded,
    .malloc = std::malloc,
    .calloc = std::calloc,
    .free = std::free,
    .advise_huge_pages = nullptr,  // large pages need a privilege and locked memory
};

constinit Services services = operating_system;

}  // namespace kyv::platform
