// The measured work, written once against the vector type of runtime/simd.
// A unit includes its simd header first and then this one.
#pragma once

#include "common/rates/rates.h"

namespace kyv::bench {
namespace {

// Enough chains to hide the latency of two multiply-add units, and no more than the registers hold; the
// product of an unfused multiply-add takes one more.
inline constexpr bool kFused = simd::kHasFusedMultiplyAdd;
inline constexpr int kChains = sizeof(void*) == 8 ? 12 : kFused ? 8 : 7;

// Each chain is a = a*a + a, which takes one register and no other operand.
template <class Vector, class Sample>
void multiply_adds(Sample* state, std::int32_t steps) noexcept {
  Vector chain[kChains];
#pragma GCC unroll 16
  for (int i = 0; i < kChains; ++i) chain[i] = simd::load(state + i * Vector::kLanes);
  for (std::int32_t step = 0; step < steps; ++step) {
#pragma GCC unroll 16  // or the chains would live in memory
    for (int i = 0; i < kChains; ++i) chain[i] = simd::mul_add(chain[i], chain[i], chain[i]);
  }
#pragma GCC unroll 16
  for (int i = 0; i < kChains; ++i) simd::store(state + i * Vector::kLanes, chain[i]);
}

inline constexpr std::size_t kFloatsPerStep = 256 / sizeof(float);

void copy(void* dst, const void* src, std::size_t bytes) noexcept {
  auto* d = static_cast<float*>(dst);
  auto* s = static_cast<const float*>(src);
  for (std::size_t done = 0; done < bytes; done += 256, d += kFloatsPerStep, s += kFloatsPerStep) {
    for (std::size_t i = 0; i < kFloatsPerStep; i += simd::F32::kLanes) {
      simd::store_aligned(d + i, simd::load(s + i));
    }
  }
}

void copy_streaming(void* dst, const void* src, std::size_t bytes) noexcept {
  auto* d = static_cast<float*>(dst);
  auto* s = static_cast<const float*>(src);
  for (std::size_t done = 0; done < bytes; done += 256, d += kFloatsPerStep, s += kFloatsPerStep) {
    for (std::size_t i = 0; i < kFloatsPerStep; i += simd::F32::kLanes) {
      simd::store_streaming(d + i, simd::load(s + i));
    }
  }
}

constexpr Rates make_rates() noexcept {
  return {kChains * simd::F32::kLanes,
          multiply_adds<simd::F32, float>,
          kChains * simd::F64::kLanes,
          multiply_adds<simd::F64, double>,
          copy,
          copy_streaming};
}

}  // namespace
}  // namespace kyv::bench
