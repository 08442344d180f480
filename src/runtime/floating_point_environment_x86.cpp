#include "runtime/floating_point_environment.h"

namespace kyv::runtime {
namespace {

constexpr std::uint32_t kDefaultMxcsr = 0x1F80;  // all masked, to nearest, no FTZ, no DAZ
constexpr std::uint32_t kMxcsrFlags = 0x3F;
constexpr std::uint16_t kDefaultX87Control = 0x037F;  // all masked, to nearest, 64-bit significand

constexpr std::uint16_t kX87Pending = 0x0080;  // an unmasked exception is flagged

std::uint16_t read_x87_status() noexcept {
  std::uint16_t status = 0;
  __asm__ volatile("fnstsw %0" : "=a"(status) : : "memory");
  return status;
}

std::uint32_t read_mxcsr() noexcept {
  std::uint32_t mxcsr = 0;
  __asm__ volatile("stmxcsr %0" : "=m"(mxcsr) : : "memory");
  return mxcsr;
}

// Slow beside a transform of 8 × 8: only for a change.
void set_mxcsr(std::uint32_t mxcsr) noexcept { __asm__ volatile("ldmxcsr %0" : : "m"(mxcsr) : "memory"); }

}  // namespace

// None of the x87 instructions here waits where the host has an exception pending, so it is neither raised
// early nor lost: it comes back with the environment. Flags of masked ones stay: a host that computes on the
// x87 has some, and saving and loading an environment takes half as long as a transform of 8 × 8.
// cppcheck-suppress uninitMemberVar
FloatingPointScope::FloatingPointScope() noexcept : mxcsr_(read_mxcsr()), x87_status_(read_x87_status()) {
  if ((x87_status_ & kX87Pending) != 0) {
    __asm__ volatile("fnstenv %0" : "=m"(x87_) : : "memory");
    __asm__ volatile("fnclex\n\tfldcw %0" : : "m"(kDefaultX87Control) : "memory");
  } else {
    __asm__ volatile("fnstcw %0" : "=m"(x87_control_) : : "memory");
    if (x87_control_ != kDefaultX87Control)
      __asm__ volatile("fldcw %0" : : "m"(kDefaultX87Control) : "memory");
  }
  if ((mxcsr_ & ~kMxcsrFlags) != kDefaultMxcsr) set_mxcsr(kDefaultMxcsr);
}

FloatingPointScope::~FloatingPointScope() {
  if (read_mxcsr() != mxcsr_) set_mxcsr(mxcsr_);
  if ((x87_status_ & kX87Pending) != 0) {
    __asm__ volatile("fnclex\n\tfldenv %0" : : "m"(x87_) : "memory");
  } else {
    restore_flags_and_control();
  }
}

void FloatingPointScope::restore_flags_and_control() const noexcept {
  if (read_x87_status() != x87_status_) {
    std::uint32_t environment[7];
    __asm__ volatile("fnstenv %0" : "=m"(environment) : : "memory");
    environment[1] = (environment[1] & 0xFFFF0000u) | x87_status_;
    __asm__ volatile("fldenv %0" : : "m"(environment) : "memory");
  }
  if (x87_control_ != kDefaultX87Control) __asm__ volatile("fldcw %0" : : "m"(x87_control_) : "memory");
}

}  // namespace kyv::runtime
