// What only resizing needs of 64-bit ARM: see simd.md.
//
// For kernel units only, in an unnamed namespace like the vector types.
#pragma once

#include "runtime/simd/neon.h"

#include "resize/kernels/fused_sums.h"

#include <cstddef>
#include <cstdint>

// Resampling: blocks of rows turned into vectors.
namespace kyv::simd {
namespace {

// 32-bit lanes of raw samples: one quad (16 bytes).
struct Raw {
  uint32x4_t v;
};
inline Raw load_quads(const std::uint8_t* const* rows, std::ptrdiff_t offset) noexcept {
  return {detail::load_bytes<uint32x4_t>(rows[0] + offset)};
}
inline Raw load_raw(const std::uint8_t* p) noexcept { return {detail::load_bytes<uint32x4_t>(p)}; }
inline void store_raw(std::uint8_t* p, Raw a) noexcept { vst1q_u8(p, vreinterpretq_u8_u32(a.v)); }
// The reverse for kLanes / 4 vectors of floats, which follow each other in the rows.
inline void store_quads(const F32* a, float* const* rows, std::ptrdiff_t offset) noexcept {
  store(rows[0] + offset, a[0]);
}
inline F32 as_floats(Raw a) noexcept { return {vreinterpretq_f32_u32(a.v)}; }
inline Raw as_raw(F32 a) noexcept { return {vreinterpretq_u32_f32(a.v)}; }
// Transposes the 4 x 4 matrix that the quads of the same number form.
inline void transpose_quads(F32& a, F32& b, F32& c, F32& d) noexcept {
  F32 rows[4] = {a, b, c, d};
  transpose(rows);
  a = rows[0];
  b = rows[1];
  c = rows[2];
  d = rows[3];
}
// Byte or 16-bit field number kField of each 32-bit lane.
template <int kBits, int kField>
inline F32 field_to_float(Raw a) noexcept {
  uint32x4_t v = a.v;
  if constexpr (kField != 0) v = vshrq_n_u32(v, kBits * kField);
  if constexpr (kBits * (kField + 1) != 32) v = vandq_u32(v, vdupq_n_u32((1u << kBits) - 1));
  return {vcvtq_f32_u32(v)};
}

namespace detail {

// Rounds to nearest, ties to even, and saturates to 16 bits. By way of signed numbers: turning what is below
// 0 into an unsigned one flags an invalid operation.
inline uint16x8_t rounded(F32 a, F32 b) noexcept {
  return vqmovun_high_s32(vqmovun_s32(vcvtnq_s32_f32(a.v)), vcvtnq_s32_f32(b.v));
}

}  // namespace detail

// Rounds to nearest, ties to even, saturates, and stores 4 vectors as bytes or 2 as 16-bit samples.
inline void store_rounded(std::uint8_t* p, F32 a, F32 b, F32 c, F32 d) noexcept {
  detail::store_bytes(p, vqmovn_high_u16(vqmovn_u16(detail::rounded(a, b)), detail::rounded(c, d)));
}
inline void store_rounded(std::uint8_t* p, F32 a, F32 b) noexcept {
  detail::store_bytes(p, detail::rounded(a, b));
}

inline F64 operator/(F64 a, F64 b) noexcept { return {vdivq_f64(a.v, b.v)}; }
inline F64 absolute(F64 a) noexcept { return {vabsq_f64(a.v)}; }
// a < b ? x : y, lane by lane.
inline F64 select_less(F64 a, F64 b, F64 x, F64 y) noexcept {
  return {vbslq_f64(vcltq_f64(a.v, b.v), x.v, y.v)};
}
inline F64 lane_numbers() noexcept { return {float64x2_t{0.0, 1.0}}; }

}  // namespace
}  // namespace kyv::simd

// Nearest neighbour: bytes by their place in a window of memory.
namespace kyv::simd {
namespace {

// Two lanes of 16 bytes, each from `kWindows` * 16 bytes at src + bases[lane].
struct QuadPicker {
  static constexpr int kLanes = 2;
  static constexpr int kLaneBytes = 16;

  template <int kWindows>
  static void pick(const std::uint8_t* src, const std::ptrdiff_t* bases, const std::uint8_t* indices,
                   std::uint8_t* dst) noexcept {
    for (int lane = 0; lane < kLanes; ++lane) {
      const std::uint8_t* const window = src + bases[lane];
      const auto quad = [&](int i) noexcept {
        return detail::load_bytes<uint8x16_t>(window + i * kLaneBytes);
      };
      const auto index = detail::load_bytes<uint8x16_t>(indices + lane * kLaneBytes);
      uint8x16_t picked;
      if constexpr (kWindows == 1) {
        picked = vqtbl1q_u8(quad(0), index);
      } else if constexpr (kWindows == 2) {
        picked = vqtbl2q_u8({{quad(0), quad(1)}}, index);
      } else if constexpr (kWindows == 3) {
        picked = vqtbl3q_u8({{quad(0), quad(1), quad(2)}}, index);
      } else {
        picked = vqtbl4q_u8({{quad(0), quad(1), quad(2), quad(3)}}, index);
      }
      detail::store_bytes(dst + lane * kLaneBytes, picked);
    }
  }
};

}  // namespace
}  // namespace kyv::simd

// Resampling: pixels of four channels, a quad of floats each.
namespace kyv::simd {
namespace {

// Pixel number kPixel of each quad of 8-bit or 16-bit samples.
template <int kBits, int kPixel>
inline F32 pixel_to_float(Raw a) noexcept {
  if constexpr (kBits == 8) {
    const uint8x16_t bytes = vreinterpretq_u8_u32(a.v);
    const uint16x8_t two = kPixel < 2 ? vmovl_u8(vget_low_u8(bytes)) : vmovl_high_u8(bytes);
    return pixel_to_float<16, kPixel % 2>(Raw{vreinterpretq_u32_u16(two)});
  } else {
    const uint16x8_t two = vreinterpretq_u16_u32(a.v);
    return {vcvtq_f32_u32(kPixel == 0 ? vmovl_u16(vget_low_u16(two)) : vmovl_high_u16(two))};
  }
}

}  // namespace
}  // namespace kyv::simd

// Resampling: a pixel of several rows, a quad of floats each.
namespace kyv::simd {
namespace {

// 16 bytes of a row.
inline Raw load_quads(const std::uint8_t* p, std::ptrdiff_t) noexcept {
  return {detail::load_bytes<uint32x4_t>(p)};
}
// For every byte of a quad of 32-bit numbers its place in 16 bytes, or one beyond them for zero.
struct QuadPlaces {
  uint8x16_t v;
};
inline QuadPlaces load_places(const std::uint8_t* p) noexcept { return {detail::load_bytes<uint8x16_t>(p)}; }
inline F32 quads_to_float(Raw a, QuadPlaces places) noexcept {
  const uint8x16_t picked = vqtbl1q_u8(vreinterpretq_u8_u32(a.v), places.v);
  return {vcvtq_f32_u32(vreinterpretq_u32_u8(picked))};
}
inline void store_pixel(F32 a, float* const* rows, std::ptrdiff_t offset) noexcept {
  store(rows[0] + offset, a);
}

}  // namespace
}  // namespace kyv::simd

// Sums of whole numbers: vectors of 16-bit words, and of 32 bits.
namespace kyv::simd {
namespace {

using Words = std::uint16_t __attribute__((vector_size(16)));
// Of as many bytes.
inline Words load_words(const std::uint8_t* p) noexcept {
  return reinterpret_cast<Words>(vmovl_u8(vld1_u8(p)));
}
using Longs = std::uint32_t __attribute__((vector_size(16)));
// Of as many words.
inline Longs load_longs(const std::uint8_t* p) noexcept {
  return reinterpret_cast<Longs>(vmovl_u16(vreinterpret_u16_u8(vld1_u8(p))));
}
// (a * parts[0] + b * parts[1]) / 2^15, rounded to nearest, for what is less than 2^15.
inline Words sum_parts(Words a, Words b, const std::uint16_t* parts) noexcept {
  const auto words_a = reinterpret_cast<uint16x8_t>(a);
  const auto words_b = reinterpret_cast<uint16x8_t>(b);
  const uint32x4_t low = vmull_n_u16(vget_low_u16(words_a), parts[0]);
  const uint32x4_t high = vmull_n_u16(vget_high_u16(words_a), parts[0]);
  return reinterpret_cast<Words>(
      vcombine_u16(vrshrn_n_u32(vmlal_n_u16(low, vget_low_u16(words_b), parts[1]), 15),
                   vrshrn_n_u32(vmlal_n_u16(high, vget_high_u16(words_b), parts[1]), 15)));
}
// A bit for each lane.
inline std::uint32_t lanes_less(F32 a, F32 b) noexcept {
  const std::uint32_t bits[4] = {1, 2, 4, 8};
  return vaddvq_u32(vandq_u32(vcltq_f32(a.v, b.v), vld1q_u32(bits)));
}

}  // namespace
}  // namespace kyv::simd
