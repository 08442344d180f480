// What only resizing needs of AVX-512 with VBMI, which permutes bytes across a whole vector (Ice Lake, Zen 4
// and later): see simd.md.
//
// For kernel units only, in an unnamed namespace like the vector types.
#pragma once

#include "resize/kernels/simd_avx512.h"

// Nearest neighbour: bytes by their place in a window of memory.
namespace kyv::simd {
namespace {

// One lane of 64 bytes from `kWindows` * 64 bytes at src + bases[0].
struct VectorPicker {
  static constexpr int kLanes = 1;
  static constexpr int kLaneBytes = 64;

  template <int kWindows>
  static void pick(const std::uint8_t* src, const std::ptrdiff_t* bases, const std::uint8_t* indices,
                   std::uint8_t* dst) noexcept {
    const __m512i index = _mm512_loadu_si512(indices);
    const auto from = [&](int window) noexcept {
      return _mm512_loadu_si512(src + bases[0] + window * kLaneBytes);
    };
    __m512i picked;
    if constexpr (kWindows == 1) {
      picked = _mm512_permutexvar_epi8(index, from(0));
    } else {
      picked = _mm512_permutex2var_epi8(from(0), index, from(1));
    }
    const __mmask64 is_upper = _mm512_movepi8_mask(index);
    if constexpr (kWindows == 3) picked = _mm512_mask_permutexvar_epi8(picked, is_upper, index, from(2));
    if constexpr (kWindows == 4) {
      const __m512i upper = _mm512_permutex2var_epi8(from(2), index, from(3));
      picked = _mm512_mask_mov_epi8(picked, is_upper, upper);
    }
    _mm512_storeu_si512(dst, picked);
  }
};

}  // namespace
}  // namespace kyv::simd

// Resampling: lanes picked from a window of a row's samples.
namespace kyv::simd {
namespace {

namespace detail {
inline constexpr __mmask64 kLowBytes = 0x1111111111111111;
}  // namespace detail

template <int kBits>
requires(kBits == 8) inline LaneFloats pick_samples(NarrowWindow window, Lanes codes) noexcept {
  return {_mm512_cvtepi32_ps(_mm512_maskz_permutexvar_epi8(detail::kLowBytes, codes.v, window.v))};
}
template <int kBits>
requires(kBits == 8) inline LaneFloats pick_samples(WideWindow window, Lanes codes) noexcept {
  return {_mm512_cvtepi32_ps(
      _mm512_maskz_permutex2var_epi8(detail::kLowBytes, window.low, codes.v, window.high))};
}

}  // namespace
}  // namespace kyv::simd
