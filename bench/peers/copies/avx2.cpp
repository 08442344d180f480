#include <immintrin.h>

namespace kyv::bench::peers {
namespace {
constexpr int kBytes = 32;
inline void stream(double* p, __m256d v) { _mm256_stream_pd(p, v); }
}  // namespace
}  // namespace kyv::bench::peers

#include "peers/copies/copies_impl.h"

namespace kyv::bench::peers {
const PlaneCopies copies_avx2 = kCopies;
}  // namespace kyv::bench::peers
