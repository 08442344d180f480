// See floating_point_state.h.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kyv::testing_support {

struct FloatingPointState {
  std::array<std::uint32_t, 7> x87{};
  std::uint32_t mxcsr = 0;

  std::uint16_t x87_control() const { return static_cast<std::uint16_t>(x87[0]); }
  std::uint16_t x87_status() const { return static_cast<std::uint16_t>(x87[1]); }
  std::uint16_t x87_tags() const { return static_cast<std::uint16_t>(x87[2]); }

  bool operator==(const FloatingPointState& other) const {
    return mxcsr == other.mxcsr && x87_control() == other.x87_control() &&
           x87_status() == other.x87_status() && x87_tags() == other.x87_tags();
  }
};

inline constexpr std::uint32_t kMxcsrDefault = 0x1F80;
inline constexpr std::uint32_t kX87Default = 0x037F;

inline bool is_default(const FloatingPointState& state) {
  return state.mxcsr == kMxcsrDefault && state.x87_control() == kX87Default;
}

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

// Rounding lies in bits 13-14 of MXCSR and 10-11 of the x87 control word, its precision in bits 8-9.
inline std::vector<std::pair<std::string, FloatingPointState>> host_environments() {
  const auto state = [](std::uint32_t mxcsr, std::uint32_t x87_control) {
    FloatingPointState changed = read_floating_point();
    changed.mxcsr = mxcsr;
    changed.x87[0] = (changed.x87[0] & 0xFFFF0000u) | x87_control;
    return changed;
  };
  return {{"rounding down", state(kMxcsrDefault | 0x2000, kX87Default | 0x0400)},
          {"rounding up", state(kMxcsrDefault | 0x4000, kX87Default | 0x0800)},
          {"rounding to zero", state(kMxcsrDefault | 0x6000, kX87Default | 0x0C00)},
          {"flushing to zero", state(kMxcsrDefault | 0x8000, kX87Default)},
          {"denormal numbers as zeros", state(kMxcsrDefault | 0x0040, kX87Default)},
          {"x87 at 24 bits", state(kMxcsrDefault, kX87Default & ~0x0300u)},
          {"x87 at 53 bits", state(kMxcsrDefault, (kX87Default & ~0x0300u) | 0x0200)},
          {"every exception unmasked", state(0x0000, kX87Default & ~0x003Fu)},
          {"flags raised", state(kMxcsrDefault | 0x003F, kX87Default)},
          {"all at once", hostile_floating_point()}};
}

}  // namespace kyv::testing_support
