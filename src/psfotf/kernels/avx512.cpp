#include "runtime/simd/avx512.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const Kernels kernels_avx2;
extern const Kernels kernels_avx512;
const Kernels kernels_avx512 = make_kernels(&kernels_avx2);

}  // namespace kyv::psfotf
