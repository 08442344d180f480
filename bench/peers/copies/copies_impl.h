// The copies for vectors of kBytes bytes; included by one unit per instruction set, which says how a vector
// is streamed.
#include <immintrin.h>

#include <cstdint>

#include "peers/copies/copies.h"

namespace kyv::bench::peers {
namespace {

constexpr std::size_t kLanes = kBytes / sizeof(double);
typedef double Doubles __attribute__((vector_size(kBytes)));
typedef float Floats __attribute__((vector_size(kBytes / 2)));

template <class Vector, class Value>
Vector load(const Value* p) {
  Vector v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}

template <class Vector, class Value>
void store(Value* p, Vector v) {
  __builtin_memcpy(p, &v, sizeof v);
}

// The lower (kHalf 0) or upper half of a and b in turn, and what undoes that.
template <int kHalf, class Vector>
Vector interleave(Vector a, Vector b) {
  constexpr int n = static_cast<int>(kLanes);
  constexpr int h = kHalf * n / 2;
  if constexpr (n == 2) return __builtin_shufflevector(a, b, h, n + h);
  if constexpr (n == 4) return __builtin_shufflevector(a, b, h, n + h, h + 1, n + h + 1);
  if constexpr (n == 8) {
    return __builtin_shufflevector(a, b, h, n + h, h + 1, n + h + 1, h + 2, n + h + 2, h + 3, n + h + 3);
  }
}

template <int kPart, class Vector>
Vector take_part(Vector low, Vector high) {
  constexpr int k = kPart;
  if constexpr (kLanes == 2) return __builtin_shufflevector(low, high, k, k + 2);
  if constexpr (kLanes == 4) return __builtin_shufflevector(low, high, k, k + 2, k + 4, k + 6);
  if constexpr (kLanes == 8) {
    return __builtin_shufflevector(low, high, k, k + 2, k + 4, k + 6, k + 8, k + 10, k + 12, k + 14);
  }
}

template <class Value, class Vector>
void copy_in(const double* real, const double* imag, Value* pairs, std::size_t n) {
  std::size_t i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    const auto re = __builtin_convertvector(load<Doubles>(real + i), Vector);
    const auto im = __builtin_convertvector(load<Doubles>(imag + i), Vector);
    store(pairs + 2 * i, interleave<0>(re, im));
    store(pairs + 2 * i + kLanes, interleave<1>(re, im));
  }
  for (; i < n; ++i) {
    pairs[2 * i] = static_cast<Value>(real[i]);
    pairs[2 * i + 1] = static_cast<Value>(imag[i]);
  }
}

template <bool kStream, class Value, class Vector>
void copy_out_vectors(const Value* pairs, double* real, double* imag, std::size_t n) {
  std::size_t i = 0;
  const auto single = [&] {
    real[i] = static_cast<double>(pairs[2 * i]);
    imag[i] = static_cast<double>(pairs[2 * i + 1]);
    ++i;
  };
  if (kStream) {
    while (i < n && reinterpret_cast<std::uintptr_t>(real + i) % kBytes != 0) single();
  }
  for (; i + kLanes <= n; i += kLanes) {
    const auto low = load<Vector>(pairs + 2 * i);
    const auto high = load<Vector>(pairs + 2 * i + kLanes);
    const Doubles re = __builtin_convertvector(take_part<0>(low, high), Doubles);
    const Doubles im = __builtin_convertvector(take_part<1>(low, high), Doubles);
    if constexpr (kStream) {
      stream(real + i, re);
      stream(imag + i, im);
    } else {
      store(real + i, re);
      store(imag + i, im);
    }
  }
  while (i < n) single();
  if (kStream) _mm_sfence();
}

// Streaming needs both arrays to lie alike.
template <class Value, class Vector>
void copy_out(const Value* pairs, double* real, double* imag, std::size_t n, bool past_caches) {
  const auto distance = reinterpret_cast<std::uintptr_t>(real) - reinterpret_cast<std::uintptr_t>(imag);
  if (past_caches && distance % kBytes == 0) {
    copy_out_vectors<true, Value, Vector>(pairs, real, imag, n);
  } else {
    copy_out_vectors<false, Value, Vector>(pairs, real, imag, n);
  }
}

constexpr PlaneCopies kCopies = {copy_in<float, Floats>, copy_in<double, Doubles>, copy_out<float, Floats>,
                                 copy_out<double, Doubles>};

}  // namespace
}  // namespace kyv::bench::peers
