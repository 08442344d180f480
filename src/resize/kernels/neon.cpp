#include "resize/kernels/simd_neon.h"

#include "resize/kernels/folds_impl.h"
#include "resize/kernels/integer_kernels.h"
#include "resize/kernels/running_impl.h"
#include "resize/kernels/shuffled_impl.h"
#include "resize/kernels/transposition_vector.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {

extern const Kernels kernels_neon;
const Kernels kernels_neon = make_kernels(byte_kernels<simd::QuadPicker>(), fold_kernels(), integer_kernels(),
                                          running_kernels(), {}, shuffled_kernels());

}  // namespace kyv::resize
