// Blocks of rows to vectors of rows and back, by transposing quads of 16 bytes.
#pragma once

#include "resize/kernels/kernels.h"

namespace kyv::resize {
namespace {

// The 16 bytes from `offset` on of every row, as 16 or 8 vectors.
template <int kBits>
inline void load_chunk(const std::uint8_t* const* rows, std::size_t offset, float* out,
                       std::size_t stride) noexcept {
  simd::F32 quad[4];
  for (int i = 0; i < 4; ++i) quad[i] = simd::as_floats(simd::load_quads(rows + i, offset));
  simd::transpose_quads(quad[0], quad[1], quad[2], quad[3]);
  for (int i = 0; i < 4; ++i) {
    const simd::Raw raw = simd::as_raw(quad[i]);
    simd::store(out, simd::field_to_float<kBits, 0>(raw));
    simd::store(out + stride, simd::field_to_float<kBits, 1>(raw));
    if constexpr (kBits == 8) {
      simd::store(out + 2 * stride, simd::field_to_float<8, 2>(raw));
      simd::store(out + 3 * stride, simd::field_to_float<8, 3>(raw));
    }
    out += (32 / kBits) * stride;
  }
}

template <int kBits>
void load_block(const std::uint8_t* const* rows, std::size_t offset, std::size_t samples, float* out,
                std::size_t stride) noexcept {
  constexpr std::size_t kChunk = 128 / kBits;
  constexpr std::size_t kBytes = kBits / 8;
  std::size_t done = 0;
  for (; samples - done >= kChunk; done += kChunk) {
    load_chunk<kBits>(rows, offset + done * kBytes, out + done * stride, stride);
  }
  if (done == samples) return;
  std::uint8_t rest[simd::F32::kLanes][16] = {};
  const std::uint8_t* rest_rows[simd::F32::kLanes];
  for (int row = 0; row < simd::F32::kLanes; ++row) {
    __builtin_memcpy(rest[row], rows[row] + offset + done * kBytes, (samples - done) * kBytes);
    rest_rows[row] = rest[row];
  }
  load_chunk<kBits>(rest_rows, 0, out + done * stride, stride);
}

void store_block(const float* in, std::size_t stride, std::size_t samples, float* const* rows,
                 std::size_t offset) noexcept {
  for (std::size_t done = 0; done < samples; done += 4) {
    const float* from = in + done * stride;
    simd::F32 v[4];
    for (std::size_t i = 0; i < 4; ++i) v[i] = simd::load(from + i * stride);
    simd::transpose_quads(v[0], v[1], v[2], v[3]);
    for (int i = 0; i < 4; ++i) simd::store_quads(v[i], rows + i, offset + done);
  }
}

}  // namespace
}  // namespace kyv::resize
