#include "runtime/simd/avx2.h"

#include "common/rates/rates_impl.h"

namespace kyv::bench {

extern const Rates rates_avx2;
const Rates rates_avx2 = make_rates();

}  // namespace kyv::bench
