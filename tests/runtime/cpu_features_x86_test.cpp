#include "runtime/cpu_features_x86.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/dispatch.h"

namespace kyv::runtime {
namespace {

// Processors as their registers describe them.
constexpr CpuidSnapshot kPentium4{.max_leaf = 2, .leaf1_edx = 1u << 26};
constexpr CpuidSnapshot kHaswell{.max_leaf = 13,
                                 .leaf1_ecx = (1u << 12) | (1u << 27) | (1u << 28),
                                 .leaf1_edx = 1u << 26,
                                 .leaf7_ebx = 1u << 5,
                                 .xcr0 = 0x07};
constexpr std::uint32_t kSkylakeLeaf7 = (1u << 5) | (1u << 16) | (1u << 17) | (1u << 30) | (1u << 31);

// The sets that a processor with AVX-512, and one with its permutations of bytes as well, is given.
#ifdef KYVMATH_WITHOUT_AVX512
constexpr const char* kAvx512 = "avx2";
constexpr const char* kAvx512Vbmi = "avx2";
#else
constexpr const char* kAvx512 = "avx512";
constexpr const char* kAvx512Vbmi = "avx512vbmi";
#endif

std::string variant_of(const CpuidSnapshot& cpu) { return best_kernel_set(features_of(cpu)).name; }

TEST(CpuFeatures, ChoosesTheBestVariantThatProcessorAndSystemBothOffer) {
  CpuidSnapshot cpu = kHaswell;
  EXPECT_EQ(variant_of(CpuidSnapshot{}), "scalar");
  EXPECT_EQ(variant_of(kPentium4), "sse2");
  EXPECT_EQ(variant_of(kHaswell), "avx2");

  cpu.leaf7_ebx = 0;  // AVX and FMA without AVX2
  EXPECT_EQ(variant_of(cpu), "sse2");
  cpu = kHaswell;
  cpu.leaf1_ecx &= ~(1u << 12);  // AVX2 without FMA
  EXPECT_EQ(variant_of(cpu), "sse2");
  cpu = kHaswell;
  cpu.xcr0 = 0x03;  // the system does not save the upper halves
  EXPECT_EQ(variant_of(cpu), "sse2");

  cpu = kHaswell;
  cpu.leaf7_ebx = kSkylakeLeaf7;
  cpu.xcr0 = 0xE7;
  EXPECT_EQ(variant_of(cpu), kAvx512);
  cpu.leaf7_ecx = 1u << 1;
  EXPECT_EQ(variant_of(cpu), kAvx512Vbmi);
  for (const std::uint32_t missing : {1u << 12, 1u << 28}) {  // its bits without FMA or without AVX
    CpuidSnapshot odd = cpu;
    odd.leaf1_ecx &= ~missing;
    EXPECT_EQ(variant_of(odd), "sse2");
  }
  CpuidSnapshot odd = cpu;
  odd.leaf7_ebx &= ~(1u << 5);  // its bits without AVX2
  EXPECT_EQ(variant_of(odd), "sse2");
  cpu.xcr0 = 0x07;  // the system does not save the mask and 512-bit registers
  EXPECT_EQ(variant_of(cpu), "avx2");
  cpu.xcr0 = 0xE7;
  cpu.leaf7_ebx &= ~(1u << 31);  // no VL
  EXPECT_EQ(variant_of(cpu), "avx2");
}

TEST(CpuFeatures, KnowsCoresAsTheirMakersNumberThem) {
  // Sapphire Rapids, Zen 4 (extended family), a Pentium 4, and a processor that tells nothing.
  const Processor intel = processor_of({.leaf0_ebx = 0x756E6547, .leaf1_eax = 0x000806F8});
  EXPECT_EQ(intel.vendor, Vendor::kIntel);
  EXPECT_EQ(intel.family, 6);
  EXPECT_EQ(intel.model, 0x8F);
  const Processor amd = processor_of({.leaf0_ebx = 0x68747541, .leaf1_eax = 0x00A10F11});
  EXPECT_EQ(amd.vendor, Vendor::kAmd);
  EXPECT_EQ(amd.family, 0x19);
  EXPECT_EQ(amd.model, 0x11);
  EXPECT_EQ(processor_of({.leaf0_ebx = 0x756E6547, .leaf1_eax = 0x00000F29}).family, 15);
  EXPECT_EQ(processor_of({}).vendor, Vendor::kOther);

  const Processor here = processor_of(read_cpuid());
  for (int call = 0; call < 2; ++call) {
    EXPECT_EQ(this_processor().features, here.features);
    EXPECT_EQ(this_processor().vendor, here.vendor);
    EXPECT_EQ(this_processor().family, here.family);
    EXPECT_EQ(this_processor().model, here.model);
  }
}

}  // namespace
}  // namespace kyv::runtime
