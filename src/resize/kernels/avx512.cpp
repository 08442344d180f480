#include "resize/kernels/simd_avx512.h"

#include "resize/kernels/block_vector.h"
#include "resize/kernels/lane_words.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {

extern const Kernels kernels_avx512;
const Kernels kernels_avx512 =
    make_kernels(byte_kernels<simd::QuadPicker>(), {.depth = {{}, kLaneWords}, .quarters = false});

}  // namespace kyv::resize
