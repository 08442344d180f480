#include "resize/kernels/simd_neon.h"

#include "resize/kernels/shuffled_impl.h"
#include "resize/kernels/transposition_vector.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {

// A byte whose place is beyond the table becomes 0.
extern const Kernels kernels_neon;
const Kernels kernels_neon = make_kernels(byte_kernels<simd::QuadPicker>(), {}, shuffled_kernels(0xFF));

}  // namespace kyv::resize
