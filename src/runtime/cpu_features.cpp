#include "runtime/cpu_features.h"

#include <cpuid.h>

namespace kyv::runtime {
namespace {

constexpr std::uint32_t bit(int n) noexcept { return 1u << n; }

constexpr bool has_all(std::uint64_t word, std::uint64_t bits) noexcept { return (word & bits) == bits; }

std::uint64_t read_xcr0() noexcept {
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (static_cast<std::uint64_t>(high) << 32) | low;
}

}  // namespace

CpuidSnapshot read_cpuid() noexcept {
  CpuidSnapshot cpu;
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (!__get_cpuid(0, &a, &b, &c, &d)) return cpu;
  cpu.max_leaf = a;
  __cpuid(1, a, b, c, d);
  cpu.leaf1_ecx = c;
  cpu.leaf1_edx = d;
  if (cpu.max_leaf >= 7) {
    __cpuid_count(7, 0, a, b, c, d);
    cpu.leaf7_ebx = b;
    cpu.leaf7_ecx = c;
  }
  constexpr std::uint32_t osxsave = bit(27);
  if (has_all(cpu.leaf1_ecx, osxsave)) cpu.xcr0 = read_xcr0();
  return cpu;
}

std::uint32_t features_of(const CpuidSnapshot& cpu) noexcept {
  constexpr std::uint32_t leaf1_fma_avx = bit(12) | bit(28);
  constexpr std::uint32_t leaf1_sse2 = bit(26);
  constexpr std::uint32_t leaf7_avx2 = bit(5);
  constexpr std::uint32_t leaf7_avx512 = bit(16) | bit(17) | bit(30) | bit(31);  // F, DQ, BW, VL
  constexpr std::uint32_t leaf7_vbmi = bit(1);
  constexpr std::uint64_t saves_ymm = 0x06;
  constexpr std::uint64_t saves_zmm = 0xE6;

  std::uint32_t features = 0;
  if (has_all(cpu.leaf1_edx, leaf1_sse2)) features |= kFeatureSse2;
  const bool avx2 = has_all(cpu.leaf1_ecx, leaf1_fma_avx) && has_all(cpu.leaf7_ebx, leaf7_avx2);
  if (avx2 && has_all(cpu.xcr0, saves_ymm)) features |= kFeatureAvx2Fma;
  const bool avx512 = avx2 && has_all(cpu.leaf7_ebx, leaf7_avx512) && has_all(cpu.xcr0, saves_zmm);
  if (avx512) features |= kFeatureAvx512;
  if (avx512 && has_all(cpu.leaf7_ecx, leaf7_vbmi)) features |= kFeatureAvx512Vbmi;
  return features;
}

}  // namespace kyv::runtime
