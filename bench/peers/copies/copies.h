// The copies around a transform of an interleaved plane: from separate arrays of doubles and back.
#pragma once

#include <cstddef>

namespace kyv::bench::peers {

struct PlaneCopies {
  // 2 * n values of the precision, 64-byte aligned, real and imaginary parts in turn.
  void (*in_single)(const double* real, const double* imag, float* pairs, std::size_t n);
  void (*in_double)(const double* real, const double* imag, double* pairs, std::size_t n);
  // With `stream` the arrays are written past the caches.
  void (*out_single)(const float* pairs, double* real, double* imag, std::size_t n, bool stream);
  void (*out_double)(const double* pairs, double* real, double* imag, std::size_t n, bool stream);
};

extern const PlaneCopies copies_sse2;
extern const PlaneCopies copies_avx2;
extern const PlaneCopies copies_avx512;

}  // namespace kyv::bench::peers
