// The measured work of one instruction set.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::bench {

struct Rates {
  // One multiply-add on each of `float_state` floats per step, in independent chains that stay in registers.
  std::int32_t float_state;
  void (*float_multiply_adds)(float* state, std::int32_t steps) noexcept;
  std::int32_t double_state;
  void (*double_multiply_adds)(double* state, std::int32_t steps) noexcept;
  // Both places aligned to 64 bytes, the size a multiple of 256.
  void (*copy)(void* dst, const void* src, std::size_t bytes) noexcept;
  void (*copy_streaming)(void* dst, const void* src, std::size_t bytes) noexcept;
};

}  // namespace kyv::bench
