#include "resize/kernels/simd_sse2.h"

#include "resize/kernels/folds_impl.h"
#include "resize/kernels/integer_kernels.h"
#include "resize/kernels/transposition_vector.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {

extern const Kernels kernels_sse2;
const Kernels kernels_sse2 = make_kernels(stream_kernels(), fold_kernels(), integer_kernels());

}  // namespace kyv::resize
