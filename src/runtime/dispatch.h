// The one table of kernel variants, and the one place where a variant is chosen.
#pragma once

#include <cstdint>
#include <span>

namespace kyv::resize {
struct Kernels;
}
namespace kyv::psfotf {
struct Kernels;
}

namespace kyv::runtime {

// One instruction set's kernels. The services define what their tables hold; nothing here looks inside.
struct KernelSet {
  const char* name;                 // "scalar", "sse2", "avx2", "avx512", "avx512vbmi"; "neon"
  std::uint32_t required_features;  // bits of cpu_features.h
  const resize::Kernels* resize;
  const psfotf::Kernels* psfotf;
};

// Every variant of this build, best first; the last one needs nothing.
std::span<const KernelSet> all_kernel_sets() noexcept;

// The best variant whose requirements are all among `features`.
const KernelSet& best_kernel_set(std::uint32_t features) noexcept;

// Whether this machine has what a variant requires.
bool machine_runs(const KernelSet& set) noexcept;

// The variant that the library uses on this machine: decided at the first call, the same ever after.
// Safe from any thread at any time, start-up or not.
const KernelSet& active_kernel_set() noexcept;

}  // namespace kyv::runtime
