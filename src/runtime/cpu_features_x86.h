// How the features of an x86 processor are told from what it says of itself.
#pragma once

#include <cstdint>

#include "runtime/cpu_features.h"

namespace kyv::runtime {

// The registers that detection reads, gathered first so that any processor can be played in a test.
struct CpuidSnapshot {
  std::uint32_t max_leaf = 0;
  std::uint32_t leaf0_ebx = 0;  // the first four letters of the vendor
  std::uint32_t leaf1_eax = 0;  // family and model
  std::uint32_t leaf1_ecx = 0;
  std::uint32_t leaf1_edx = 0;
  std::uint32_t leaf7_ebx = 0;
  std::uint32_t leaf7_ecx = 0;
  std::uint64_t xcr0 = 0;  // 0 where the operating system has not enabled XGETBV
};

CpuidSnapshot read_cpuid() noexcept;
std::uint32_t features_of(const CpuidSnapshot& cpu) noexcept;

Processor processor_of(const CpuidSnapshot& cpu) noexcept;

}  // namespace kyv::runtime
