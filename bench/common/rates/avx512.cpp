#include "runtime/simd/avx512.h"

#include "common/rates/rates_impl.h"

namespace kyv::bench {

extern const Rates rates_avx512;
const Rates rates_avx512 = make_rates();

}  // namespace kyv::bench
