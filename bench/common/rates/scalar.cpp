#include "runtime/simd/scalar.h"

#include "common/rates/rates_impl.h"

namespace kyv::bench {

extern const Rates rates_scalar;
const Rates rates_scalar = make_rates();

}  // namespace kyv::bench
