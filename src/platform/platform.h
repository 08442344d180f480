// The operating-system services that the library uses, under the operating system's own names: the one
// door through which it reaches memory, threads, events, thread-local storage and the debugger output.
//
// Each service promises only what the library needs of it. Failure is a null handle, a null pointer, false
// or kTlsOutOfIndexes, with the reason in GetLastError().
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

#if defined(_WIN32) && !defined(_WIN64)
#define KYV_STDCALL __stdcall
#else
#define KYV_STDCALL
#endif

// Callers on 32-bit x86 align the stack to 4 bytes only; functions entered from outside realign it.
#if defined(__i386__)
#define KYV_REALIGN_STACK __attribute__((force_align_arg_pointer))
#else
#define KYV_REALIGN_STACK
#endif

namespace kyv::platform {

using Handle = void*;
using ThreadRoutine = unsigned(KYV_STDCALL*)(void*);

inline constexpr std::uint32_t kTlsOutOfIndexes = 0xFFFFFFFF;
inline constexpr std::uint32_t kWaitObject0 = 0;
inline constexpr std::uint32_t kWaitFailed = 0xFFFFFFFF;

struct SystemInfo {
  std::uint32_t number_of_processors;
};

struct Services {
  void (*GetSystemInfo)(SystemInfo* info);

  std::uint32_t (*TlsAlloc)();
  bool (*TlsFree)(std::uint32_t index);
  void* (*TlsGetValue)(std::uint32_t index);  // sets the last error to 0 when the value itself is null
  bool (*TlsSetValue)(std::uint32_t index, void* value);

  std::uint32_t (*GetLastError)();

  Handle (*CreateEventW)();  // auto-reset, not signalled, unnamed
  bool (*SetEvent)(Handle event);
  std::uint32_t (*WaitForSingleObject)(Handle event_or_thread);  // without a time limit
  bool (*CloseHandle)(Handle handle);
  Handle (*_beginthreadex)(ThreadRoutine routine, void* argument, std::uint32_t* identifier);
  std::int32_t (*InterlockedIncrement)(std::atomic<std::int32_t>* value);  // the new value

  void (*OutputDebugStringA)(const char* text);
  // Writes at most `count` characters into a buffer of count + 1 bytes and returns how many; negative when
  // the text is longer. A text of exactly `count` characters may be left without its terminating zero.
  int (*_vsnprintf)(char* buffer, std::size_t count, const char* format, std::va_list arguments);

  void* (*malloc)(std::size_t bytes);
  void* (*calloc)(std::size_t count, std::size_t bytes);
  void (*free)(void* memory);

  // Asks for large pages under `bytes` of memory not touched yet, a hint; null where there is no such
  // request.
  void (*advise_huge_pages)(void* memory, std::size_t bytes);
};

// What the operating system gives.
extern const Services operating_system;

// What the library calls: the operating system's services, unless a test has put others in their place.
// Not to be changed while any other thread is inside the library.
extern Services services;

}  // namespace kyv::platform
