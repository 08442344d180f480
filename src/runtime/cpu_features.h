// Which processor this is, which instruction sets it has and which of them this operating system saves.
#pragma once

#include <cstdint>

namespace kyv::runtime {

// Bits of a feature mask. A kernel set lists the bits that it needs; 0 runs everywhere: on 64-bit ARM, where
// no kernel needs more than every processor has, there are none.
inline constexpr std::uint32_t kFeatureSse2 = 1u << 0;
inline constexpr std::uint32_t kFeatureAvx2Fma = 1u << 1;
inline constexpr std::uint32_t kFeatureAvx512 = 1u << 2;  // F, BW, VL and DQ
inline constexpr std::uint32_t kFeatureAvx512Vbmi = 1u << 3;

enum class Vendor : std::uint32_t { kOther, kIntel, kAmd };

// A core as its maker numbers it: what tuning by the core goes by.
struct Processor {
  std::uint32_t features = 0;
  Vendor vendor = Vendor::kOther;
  std::uint32_t model = 0;   // with the extended model in front
  std::uint32_t family = 0;  // with the extended family added
};

// The one that this call runs on, read once. Safe from any thread at any time.
Processor this_processor() noexcept;

// Whether it has what all code of this build takes for granted but that of api/, thread/, platform/ and this
// folder: SSE2, which only 32-bit processors can lack.
inline bool has_baseline() noexcept {
#ifdef __i386__
  return (this_processor().features & kFeatureSse2) != 0;
#else
  return true;
#endif
}

}  // namespace kyv::runtime
