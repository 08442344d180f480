// The floating-point environment of this thread, whole, and one that a hostile host might leave.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace kyv::testing_support {

struct FloatingPointState {
  std::array<std::uint32_t, 7> x87{};
  std::uint32_t mxcsr = 0;

  std::uint16_t x87_control() const { return static_cast<std::uint16_t>(x87[0]); }
  std::uint16_t x87_status() const { return static_cast<std::uint16_t>(x87[1]); }
  std::uint16_t x87_tags() const { return static_cast<std::uint16_t>(x87[2]); }
};

inline FloatingPointState read_floating_point() {
  FloatingPointState state;
  __asm__ volatile("fnstenv %0\n\tfldenv %0" : "=m"(state.x87));
  __asm__ volatile("stmxcsr %0" : "=m"(state.mxcsr));
  return state;
}

inline void write_floating_point(const FloatingPointState& state) {
  __asm__ volatile("fnclex\n\tfldenv %0" : : "m"(state.x87) : "memory");
  __asm__ volatile("ldmxcsr %0" : : "m"(state.mxcsr) : "memory");
}

// Rounding up, denormal numbers flushed, x87 at 24 bits, every exception unmasked, some already pending.
inline FloatingPointState hostile_floating_point() {
  FloatingPointState state = read_floating_point();
  state.mxcsr = 0x8000 | 0x4000 | 0x0040 | 0x0021;
  state.x87[0] = (state.x87[0] & 0xFFFF0000u) | 0x0800;
  state.x87[1] = (state.x87[1] & 0xFFFF0000u) | 0x0021;
  return state;
}

}  // namespace kyv::testing_support
