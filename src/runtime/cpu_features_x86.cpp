#include "runtime/cpu_features_x86.h"

#include <cpuid.h>

#include <atomic>

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

Vendor vendor_of(std::uint32_t letters) noexcept {
  constexpr std::uint32_t genu = 0x756E6547;  // GenuineIntel
  constexpr std::uint32_t auth = 0x68747541;  // AuthenticAMD
  if (letters == genu) return Vendor::kIntel;
  return letters == auth ? Vendor::kAmd : Vendor::kOther;
}

// In one word, so that racing first callers need no lock: they store the same. 0 is nothing yet.
std::atomic<std::uint32_t> g_processor{0};
constexpr std::uint32_t kKnown = bit(31);

std::uint32_t pack(const Processor& p) noexcept {
  return kKnown | p.features | p.model << 8 | p.family << 16 | static_cast<std::uint32_t>(p.vendor) << 25;
}

Processor unpack(std::uint32_t word) noexcept {
  return {.features = word & 0xFF,
          .vendor = static_cast<Vendor>(word >> 25 & 0x3),
          .model = word >> 8 & 0xFF,
          .family = word >> 16 & 0x1FF};
}

// Not inlined: once it is read, calls are short.
[[gnu::noinline]] std::uint32_t read_processor() noexcept {
  const std::uint32_t packed = pack(processor_of(read_cpuid()));
  g_processor.store(packed, std::memory_order_relaxed);
  return packed;
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
  cpu.leaf0_ebx = b;
  __cpuid(1, a, b, c, d);
  cpu.leaf1_eax = a;
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
  // What else a kernel set needs with these is said where the sets are listed.
  if (has_all(cpu.leaf7_ebx, leaf7_avx512) && has_all(cpu.xcr0, saves_zmm)) features |= kFeatureAvx512;
  if (has_all(cpu.leaf7_ecx, leaf7_vbmi)) features |= kFeatureAvx512Vbmi;
  return features;
}

Processor processor_of(const CpuidSnapshot& cpu) noexcept {
  const std::uint32_t base_family = (cpu.leaf1_eax >> 8) & 0xF;
  const std::uint32_t extended_family = (cpu.leaf1_eax >> 20) & 0xFF;
  const std::uint32_t base_model = (cpu.leaf1_eax >> 4) & 0xF;
  const std::uint32_t extended_model = (cpu.leaf1_eax >> 16) & 0xF;
  const bool has_extended_model = base_family == 6 || base_family == 15;
  return {.features = features_of(cpu),
          .vendor = vendor_of(cpu.leaf0_ebx),
          .model = base_model + (has_extended_model ? extended_model << 4 : 0),
          .family = base_family + (base_family == 15 ? extended_family : 0)};
}

Processor this_processor() noexcept {
  const std::uint32_t packed = g_processor.load(std::memory_order_relaxed);
  return unpack(packed != 0 ? packed : read_processor());
}

}  // namespace kyv::runtime
