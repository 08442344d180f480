#include "runtime/simd/avx2.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const Kernels kernels_sse2;
extern const Kernels kernels_avx2;
const Kernels kernels_avx2 = make_kernels(&kernels_sse2);

}  // namespace kyv::psfotf
