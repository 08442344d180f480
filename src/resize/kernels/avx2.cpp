#include "resize/kernels/simd_avx2.h"

#include "resize/kernels/block_vector.h"
#include "resize/kernels/lane_quarters.h"
#include "resize/kernels/quad_impl.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {

extern const Kernels kernels_avx2;
const Kernels kernels_avx2 =
    make_kernels(byte_kernels<simd::QuadPicker>(),
                 {.depth = {kLaneQuarters, kLaneQuarters}, .quarters = true}, kQuadPasses);

}  // namespace kyv::resize
