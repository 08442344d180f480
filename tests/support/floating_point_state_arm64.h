// See floating_point_state.h.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kyv::testing_support {

struct FloatingPointState {
  std::uint64_t control = 0;
  std::uint64_t status = 0;

  bool operator==(const FloatingPointState&) const = default;
};

inline constexpr std::uint64_t kEveryFlag = 0x0800009F;  // saturation, too

inline bool is_default(const FloatingPointState& state) { return state.control == 0; }

inline FloatingPointState read_floating_point() {
  FloatingPointState state;
  __asm__ volatile("mrs %0, fpcr\n\tmrs %1, fpsr" : "=r"(state.control), "=r"(state.status) : : "memory");
  return state;
}

inline void write_floating_point(const FloatingPointState& state) {
  __asm__ volatile("msr fpcr, %0\n\tmsr fpsr, %1" : : "r"(state.control), "r"(state.status) : "memory");
}

// Rounding lies in bits 22-23, flushing in bit 24, every NaN as one in bit 25, what is trapped (where a
// processor can) in bits 8-12 and 15.
inline std::vector<std::pair<std::string, FloatingPointState>> host_environments() {
  return {{"rounding up", {1u << 22, 0}},
          {"rounding down", {2u << 22, 0}},
          {"rounding to zero", {3u << 22, 0}},
          {"flushing to zero", {1u << 24, 0}},
          {"one NaN for all", {1u << 25, 0}},
          {"every exception unmasked", {0x9F00, 0}},
          {"flags raised", {0, kEveryFlag}},
          {"all at once", {(7u << 22) | (1u << 25) | 0x9F00, kEveryFlag & ~0x11u}}};
}

inline FloatingPointState hostile_floating_point() { return host_environments().back().second; }

}  // namespace kyv::testing_support
