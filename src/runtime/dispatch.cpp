#include "runtime/dispatch.h"

#include <atomic>

#include "runtime/cpu_features.h"

namespace kyv::resize {
extern const Kernels kernels_scalar;
extern const Kernels kernels_neon;
extern const Kernels kernels_sse2;
extern const Kernels kernels_avx2;
extern const Kernels kernels_avx512;
extern const Kernels kernels_avx512vbmi;
}  // namespace kyv::resize
namespace kyv::psfotf {
extern const Kernels kernels_scalar;
extern const Kernels kernels_neon;
extern const Kernels kernels_sse2;
extern const Kernels kernels_avx2;
extern const Kernels kernels_avx512;
}  // namespace kyv::psfotf

namespace kyv::runtime {
namespace {

#ifdef __aarch64__
constexpr KernelSet kKernelSets[] = {
    {"neon", 0, &resize::kernels_neon, &psfotf::kernels_neon},
    {"scalar", 0, &resize::kernels_scalar, &psfotf::kernels_scalar},
};
#else
#ifndef KYVMATH_WITHOUT_AVX512
constexpr std::uint32_t kAvx512 = kFeatureAvx512 | kFeatureAvx2Fma | kFeatureSse2;
#endif

// Permutations of bytes are of no use to the transforms.
constexpr KernelSet kKernelSets[] = {
#ifndef KYVMATH_WITHOUT_AVX512
    {"avx512vbmi", kAvx512 | kFeatureAvx512Vbmi, &resize::kernels_avx512vbmi, &psfotf::kernels_avx512},
    {"avx512", kAvx512, &resize::kernels_avx512, &psfotf::kernels_avx512},
#endif
    {"avx2", kFeatureAvx2Fma | kFeatureSse2, &resize::kernels_avx2, &psfotf::kernels_avx2},
    {"sse2", kFeatureSse2, &resize::kernels_sse2, &psfotf::kernels_sse2},
    {"scalar", 0, &resize::kernels_scalar, &psfotf::kernels_scalar},
};
#endif

// Racing first callers store the same pointer, so no lock and no once-flag is needed.
std::atomic<const KernelSet*> g_active{nullptr};

}  // namespace

std::span<const KernelSet> all_kernel_sets() noexcept { return kKernelSets; }

const KernelSet& best_kernel_set(std::uint32_t features) noexcept {
  const KernelSet* set = kKernelSets;
  while ((set->required_features & ~features) != 0) ++set;
  return *set;
}

bool machine_runs(const KernelSet& set) noexcept {
  return (set.required_features & ~this_processor().features) == 0;
}

const KernelSet& active_kernel_set() noexcept {
  const KernelSet* set = g_active.load(std::memory_order_acquire);
  if (set == nullptr) {
    set = &best_kernel_set(this_processor().features);
    g_active.store(set, std::memory_order_release);
  }
  return *set;
}

}  // namespace kyv::runtime
