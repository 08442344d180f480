#include "resize/kernels/simd_avx512vbmi.h"

#include "resize/kernels/block_vector.h"
#include "resize/kernels/lane_bytes.h"
#include "resize/kernels/lane_words.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {

extern const Kernels kernels_avx512vbmi;
const Kernels kernels_avx512vbmi =
    make_kernels(byte_kernels<simd::VectorPicker>(), {.depth = {kLaneBytes, kLaneWords}, .quarters = false});

}  // namespace kyv::resize
