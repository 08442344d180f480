#include "trust/process.h"

#ifdef _WIN32
#include <windows.h>
// after windows.h
#include <psapi.h>
#else
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#endif

namespace kyv::trust {
#ifdef _WIN32

LoadedLibrary::LoadedLibrary(const char* file) : handle_(::LoadLibraryA(file)) {}

LoadedLibrary::~LoadedLibrary() {
  if (loaded()) ::FreeLibrary(static_cast<HMODULE>(handle_));
}

LoadedLibrary::Address LoadedLibrary::address_of(const char* name) const {
  return reinterpret_cast<Address>(::GetProcAddress(static_cast<HMODULE>(handle_), name));
}

bool is_loaded(const char* file) { return ::GetModuleHandleA(file) != nullptr; }

ProcessHoldings holdings_of_this_process() {
  PROCESS_MEMORY_COUNTERS memory{};
  ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof memory);
  DWORD handles = 0;
  ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
  const DWORD slot = ::TlsAlloc();
  ::TlsFree(slot);
  return {static_cast<std::ptrdiff_t>(memory.PagefileUsage), handles, 0, slot};
}

#else

LoadedLibrary::LoadedLibrary(const char* file) : handle_(::dlopen(file, RTLD_NOW | RTLD_LOCAL)) {}

LoadedLibrary::~LoadedLibrary() {
  if (loaded()) ::dlclose(handle_);
}

LoadedLibrary::Address LoadedLibrary::address_of(const char* name) const {
  return reinterpret_cast<Address>(::dlsym(handle_, name));
}

bool is_loaded(const char* file) {
  void* handle = ::dlopen(file, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) ::dlclose(handle);
  return handle != nullptr;
}

ProcessHoldings holdings_of_this_process() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  std::size_t files = 0;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) files += line.find('/') != std::string::npos ? 1 : 0;
  pthread_key_t slot = 0;
  pthread_key_create(&slot, nullptr);
  pthread_key_delete(slot);
  return {static_cast<std::ptrdiff_t>(::mallinfo2().uordblks),
          static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors))), files, slot};
}

#endif

}  // namespace kyv::trust
