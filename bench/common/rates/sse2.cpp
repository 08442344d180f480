#include "runtime/simd/sse2.h"

#include "common/rates/rates_impl.h"

namespace kyv::bench {

extern const Rates rates_sse2;
const Rates rates_sse2 = make_rates();

}  // namespace kyv::bench
