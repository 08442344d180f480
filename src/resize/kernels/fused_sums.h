// Sums of products with one rounding per tap, where a fused multiply-add does that: see simd.md.
//
// For kernel units only, after the vector types of a set, in an unnamed namespace like those.
#pragma once

namespace kyv::simd {
namespace {

// A weight in every lane, a vector of samples, and the running sum of their products.
using Weight = F32;
using Samples = F32;
using Sum = F32;
inline Weight load_weight(const float* p) noexcept { return broadcast(*p); }
inline Samples load_samples(const float* p) noexcept { return load(p); }
// The same for several uses: compilers would rather load it again for each.
inline Samples load_shared_samples(const float* p) noexcept {
  Samples a = load(p);
  keep_loaded(a);
  return a;
}
inline Sum zero_sum() noexcept { return broadcast(0.0f); }
// sum + w * x with one rounding. The caller vouches that every sum is a multiple of the smallest float and,
// with `kSumsAreExact`, that it fits a double.
template <bool kSumsAreExact>
inline Sum accumulate(Weight w, Samples x, Sum sum) noexcept {
  return mul_add(w, x, sum);
}
// The same for sums of any size.
inline Sum accumulate_any(Weight w, Samples x, Sum sum) noexcept { return mul_add(w, x, sum); }
// accumulate<false> for two vectors.
inline void accumulate_two(Weight w, const Samples* x, Sum* sum) noexcept {
  sum[0] = accumulate<false>(w, x[0], sum[0]);
  sum[1] = accumulate<false>(w, x[1], sum[1]);
}
inline F32 value_of(Sum sum) noexcept { return sum; }

}  // namespace
}  // namespace kyv::simd
