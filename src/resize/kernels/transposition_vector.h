// Batches of rows to vectors of rows and back, by transposing quads of 16 bytes.
#pragma once

#include "resize/kernels/transposed.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// The 16 bytes from `offset` on of every row: each vector has four of them in every lane.
struct TransposedBytes {
  simd::F32 v[4];
};
[[gnu::always_inline]] inline TransposedBytes transposed_bytes(const std::uint8_t* const* rows,
                                                               Index offset) noexcept {
  TransposedBytes bytes;
  unroll<0, 4>([&](auto i) { bytes.v[i] = simd::as_floats(simd::load_quads(rows + i, offset)); });
  simd::transpose_quads(bytes.v[0], bytes.v[1], bytes.v[2], bytes.v[3]);
  return bytes;
}

// The same as 16 or 8 vectors of floats.
template <int kBits>
inline void load_chunk(const std::uint8_t* const* rows, Index offset, float* out, Index stride) noexcept {
  const TransposedBytes bytes = transposed_bytes(rows, offset);
  for (int i = 0; i < 4; ++i) {
    const simd::Raw raw = simd::as_raw(bytes.v[i]);
    simd::store(out, simd::field_to_float<kBits, 0>(raw));
    simd::store(out + stride, simd::field_to_float<kBits, 1>(raw));
    if constexpr (kBits == 8) {
      simd::store(out + 2 * stride, simd::field_to_float<8, 2>(raw));
      simd::store(out + 3 * stride, simd::field_to_float<8, 3>(raw));
    }
    out += (32 / kBits) * stride;
  }
}

// The same for pixels of four channels: [pixel][row modulo 4] vectors of [row / 4][channel].
template <int kBits>
inline void load_pixels(const std::uint8_t* const* rows, Index offset, float* out, Index stride) noexcept {
  unroll<0, 4>([&](auto row) {
    const simd::Raw raw = simd::load_quads(rows + row, offset);
    unroll<0, 32 / kBits>([&](auto pixel) {
      simd::store(out + Index{4 * pixel + row} * stride, simd::pixel_to_float<kBits, pixel>(raw));
    });
  });
}

template <int kBits, VectorContent kContent>
void load_rows(const std::uint8_t* const* rows, Index offset, Index samples, float* out,
               Index stride) noexcept {
  constexpr Index kChunk = 128 / kBits;
  constexpr Index kBytes = kBits / 8;
  constexpr auto load = kContent == kPixelVectors ? load_pixels<kBits> : load_chunk<kBits>;
  Index done = 0;
  for (; samples - done >= kChunk; done += kChunk) {
    load(rows, offset + done * kBytes, out + done * stride, stride);
  }
  if (done == samples) return;
  std::uint8_t rest[simd::F32::kLanes][16] = {};
  const std::uint8_t* rest_rows[simd::F32::kLanes];
  for (int row = 0; row < simd::F32::kLanes; ++row) {
    __builtin_memcpy(rest[row], rows[row] + offset + done * kBytes,
                     static_cast<std::size_t>((samples - done) * kBytes));
    rest_rows[row] = rest[row];
  }
  load(rest_rows, 0, out + done * stride, stride);
}

template <VectorContent kContent>
void store_rows(const float* in, Index stride, Index samples, float* const* rows, Index offset) noexcept {
  constexpr int kQuads = simd::F32::kLanes / 4;
  for (Index done = 0; done < samples; done += simd::F32::kLanes) {
    simd::F32 quads[4][kQuads];
    unroll<0, kQuads>([&](auto quad) {
      unroll<0, 4>([&](auto row) {
        quads[row][quad] = simd::load(in);
        in += stride;
      });
      if constexpr (kContent == kSampleVectors) {
        simd::transpose_quads(quads[0][quad], quads[1][quad], quads[2][quad], quads[3][quad]);
      }
    });
    unroll<0, 4>([&](auto row) { simd::store_quads(quads[row], rows + row, offset + done); });
  }
}

}  // namespace
}  // namespace kyv::resize
