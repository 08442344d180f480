#include "runtime/floating_point_environment.h"

namespace kyv::runtime {
namespace {

// FPCR: to nearest, denormal numbers kept, NaNs passed on, nothing trapped, no later extension's behaviour.
constexpr std::uint64_t kDefaultControl = 0;

}  // namespace

FloatingPointScope::FloatingPointScope() noexcept {
  __asm__ volatile("mrs %0, fpcr\n\tmrs %1, fpsr" : "=r"(control_), "=r"(status_) : : "memory");
  if (control_ != kDefaultControl) __asm__ volatile("msr fpcr, %0" : : "r"(kDefaultControl) : "memory");
}

FloatingPointScope::~FloatingPointScope() {
  __asm__ volatile("msr fpsr, %0" : : "r"(status_) : "memory");
  if (control_ != kDefaultControl) __asm__ volatile("msr fpcr, %0" : : "r"(control_) : "memory");
}

}  // namespace kyv::runtime
