#include "runtime/simd/avx2.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const Kernels kernels_avx2;
const Kernels kernels_avx2 = make_kernels();

}  // namespace kyv::psfotf
