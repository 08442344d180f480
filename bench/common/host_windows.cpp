#include <windows.h>

#include "common/host.h"

namespace kyv::bench {
namespace {

int last_allowed_core(DWORD_PTR allowed) noexcept {
  int core = -1;
  for (; allowed != 0; allowed >>= 1) ++core;
  return core;
}

}  // namespace

int pin_to_core(int core) noexcept {
  DWORD_PTR allowed = 0;
  DWORD_PTR system = 0;
  if (GetProcessAffinityMask(GetCurrentProcess(), &allowed, &system) == 0) return -1;
  if (core < 0) core = last_allowed_core(allowed);
  if (core < 0 || core >= static_cast<int>(8 * sizeof(DWORD_PTR))) return -1;
  return SetThreadAffinityMask(GetCurrentThread(), DWORD_PTR{1} << core) != 0 ? core : -1;
}

double now_seconds() noexcept {
  LARGE_INTEGER frequency;
  LARGE_INTEGER count;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&count);
  return static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

int result_in_child(const std::function<int()>& work) { return work(); }

}  // namespace kyv::bench
