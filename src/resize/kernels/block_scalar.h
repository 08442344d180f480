// Blocks of rows to vectors of rows and back, where a vector is one sample.
#pragma once

#include "resize/kernels/kernels.h"

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

template <int kBits, bool>
void load_block(const std::uint8_t* const* rows, std::size_t offset, std::size_t samples, float* out,
                std::size_t stride) noexcept {
  typename SampleOf<kBits>::Type sample = 0;
  for (std::size_t i = 0; i < samples; ++i) {
    __builtin_memcpy(&sample, rows[0] + offset + i * sizeof sample, sizeof sample);
    out[i * stride] = static_cast<float>(sample);
  }
}

template <bool>
void store_block(const float* in, std::size_t stride, std::size_t samples, float* const* rows,
                 std::size_t offset) noexcept {
  for (std::size_t i = 0; i < samples; ++i) rows[0][offset + i] = in[i * stride];
}

}  // namespace
}  // namespace kyv::resize
