// Batches of rows to vectors of rows and back, where a vector is one sample.
#pragma once

#include "resize/kernels/transposed.h"

namespace kyv::resize {
namespace {

template <int kBits>
struct SampleOf {
  using Type = std::uint8_t;
};
template <>
struct SampleOf<16> {
  using Type = std::uint16_t;
};

template <int kBits, VectorContent>
void load_rows(const std::uint8_t* const* rows, Index offset, Index samples, float* out,
               Index stride) noexcept {
  typename SampleOf<kBits>::Type sample = 0;
  for (Index i = 0; i < samples; ++i) {
    __builtin_memcpy(&sample, rows[0] + offset + i * (kBits / 8), sizeof sample);
    out[i * stride] = static_cast<float>(sample);
  }
}

template <VectorContent>
void store_rows(const float* in, Index stride, Index samples, float* const* rows, Index offset) noexcept {
  for (Index i = 0; i < samples; ++i) rows[0][offset + i] = in[i * stride];
}

}  // namespace
}  // namespace kyv::resize
