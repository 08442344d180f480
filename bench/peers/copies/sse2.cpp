#include <immintrin.h>

namespace kyv::bench::peers {
namespace {
constexpr int kBytes = 16;
inline void stream(double* p, __m128d v) { _mm_stream_pd(p, v); }
}  // namespace
}  // namespace kyv::bench::peers

#include "peers/copies/copies_impl.h"

namespace kyv::bench::peers {
const PlaneCopies copies_sse2 = kCopies;
}  // namespace kyv::bench::peers
