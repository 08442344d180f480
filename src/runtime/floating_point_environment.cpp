#include "runtime/floating_point_environment.h"

namespace kyv::runtime {
namespace {

constexpr std::uint32_t kDefaultMxcsr = 0x1F80;       // all masked, to nearest, no FTZ, no DAZ
constexpr std::uint16_t kDefaultX87Control = 0x037F;  // all masked, to nearest, 64-bit significand

}  // namespace

// None of the x87 instructions here waits, so an exception that the host has pending is neither raised
// early nor lost: it comes back with the environment.
FloatingPointScope::FloatingPointScope() noexcept {
  __asm__ volatile("fnstenv %0" : "=m"(x87_) : : "memory");
  __asm__ volatile("fnclex\n\tfldcw %0" : : "m"(kDefaultX87Control) : "memory");
  __asm__ volatile("stmxcsr %0" : "=m"(mxcsr_) : : "memory");
  __asm__ volatile("ldmxcsr %0" : : "m"(kDefaultMxcsr) : "memory");
}

FloatingPointScope::~FloatingPointScope() {
  __asm__ volatile("ldmxcsr %0" : : "m"(mxcsr_) : "memory");
  __asm__ volatile("fnclex\n\tfldenv %0" : : "m"(x87_) : "memory");
}

}  // namespace kyv::runtime
