#include <immintrin.h>

namespace kyv::bench::peers {
namespace {
constexpr int kBytes = 64;
inline void stream(double* p, __m512d v) { _mm512_stream_pd(p, v); }
}  // namespace
}  // namespace kyv::bench::peers

#include "peers/copies/copies_impl.h"

namespace kyv::bench::peers {
const PlaneCopies copies_avx512 = kCopies;
}  // namespace kyv::bench::peers
