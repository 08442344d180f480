// The vector types without vectors: one lane, plain C++. It is the contract of every other header here: a set
// gives each type, constant and function declared in this file, with this meaning in every lane, and no other
// (what helps it lies in a namespace `detail`); a test compares the names. Addresses need no alignment, not
// even that of a number, unless a name or comment says so.
//
// For kernel units only. Everything sits in an unnamed namespace, so that no copy compiled for this
// instruction set can be picked by the linker for an older processor.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/memory_model.h"

namespace kyv::simd {
namespace {

struct F32 {
  float v;
  static constexpr int kLanes = 1;
};

struct F64 {
  double v;
  static constexpr int kLanes = 1;
};

inline constexpr int kVectorBytes = 4;
// Vector registers of this build, and whether mul_add() and its like round once.
inline constexpr int kRegisters = runtime::kFewRegisters ? 8 : 16;
inline constexpr bool kHasFusedMultiplyAdd = false;

inline F32 load(const float* p) noexcept {
  F32 a;
  __builtin_memcpy(&a.v, p, sizeof a.v);
  return a;
}
inline void store(float* p, F32 a) noexcept { __builtin_memcpy(p, &a.v, sizeof a.v); }
// To an address aligned to the vector; the second one past the caches.
inline void store_aligned(float* p, F32 a) noexcept { *p = a.v; }
inline void store_streaming(float* p, F32 a) noexcept { *p = a.v; }
inline F32 broadcast(float a) noexcept { return {a}; }
inline F32 operator+(F32 a, F32 b) noexcept { return {a.v + b.v}; }
inline F32 operator-(F32 a, F32 b) noexcept { return {a.v - b.v}; }
inline F32 operator*(F32 a, F32 b) noexcept { return {a.v * b.v}; }
// a*b + c, c - a*b and a*b - c; two roundings on this instruction set.
inline F32 mul_add(F32 a, F32 b, F32 c) noexcept { return a * b + c; }
inline F32 mul_sub_from(F32 a, F32 b, F32 c) noexcept { return c - a * b; }
inline F32 mul_sub(F32 a, F32 b, F32 c) noexcept { return a * b - c; }

inline F64 load(const double* p) noexcept {
  F64 a;
  __builtin_memcpy(&a.v, p, sizeof a.v);
  return a;
}
inline void store(double* p, F64 a) noexcept { __builtin_memcpy(p, &a.v, sizeof a.v); }
inline void store_aligned(double* p, F64 a) noexcept { *p = a.v; }
inline void store_streaming(double* p, F64 a) noexcept { *p = a.v; }
inline F64 broadcast(double a) noexcept { return {a}; }
inline F64 operator+(F64 a, F64 b) noexcept { return {a.v + b.v}; }
inline F64 operator-(F64 a, F64 b) noexcept { return {a.v - b.v}; }
inline F64 operator*(F64 a, F64 b) noexcept { return {a.v * b.v}; }
// a*b + c, c - a*b and a*b - c; two roundings on this instruction set.
inline F64 mul_add(F64 a, F64 b, F64 c) noexcept { return a * b + c; }
inline F64 mul_sub_from(F64 a, F64 b, F64 c) noexcept { return c - a * b; }
inline F64 mul_sub(F64 a, F64 b, F64 c) noexcept { return a * b - c; }

// kLanes doubles rounded to the lane type, and lanes widened to doubles.
inline void load_doubles(F32& a, const double* p) noexcept { a.v = static_cast<float>(load(p).v); }
inline void load_doubles(F64& a, const double* p) noexcept { a = load(p); }
inline void store_doubles(double* p, F64 a) noexcept { store(p, a); }
inline void store_doubles(double* p, F32 a) noexcept { store(p, F64{static_cast<double>(a.v)}); }
// Keeps a loaded vector in its register: the compiler would rather load it again for each use.
[[gnu::always_inline]] inline void keep_loaded(F32&) noexcept {}
[[gnu::always_inline]] inline void keep_loaded(F64&) noexcept {}
// The same past the caches; p aligned to 64 bytes or to the vector, whichever is less.
inline void stream_doubles(double* p, F32 a) noexcept { *p = static_cast<double>(a.v); }
inline void stream_doubles(double* p, F64 a) noexcept { *p = a.v; }
inline void stream_fence() noexcept {}

// The lanes in reverse order.
inline F32 reverse(F32 a) noexcept { return a; }
inline F64 reverse(F64 a) noexcept { return a; }
// Lane 0 of `next`, then lanes kLanes - 1 to 1 of a.
inline F32 mirror(F32, F32 next) noexcept { return next; }
inline F64 mirror(F64, F64 next) noexcept { return next; }
// The upper half of a and the lower half of b change places; a single lane is a lower half.
inline void exchange_halves(F32&, F32&) noexcept {}
inline void exchange_halves(F64&, F64&) noexcept {}
// The bits of both: zeros, of whatever sign, where both are.
inline F64 operator|(F64 a, F64 b) noexcept { return a.v == 0 ? b : a; }
// Whether every lane is a zero of either sign.
inline bool all_zero(F64 a) noexcept { return a.v == 0; }

// Row i, lane j of kLanes rows becomes row j, lane i.
[[gnu::always_inline]] inline void transpose(F32*) noexcept {}
[[gnu::always_inline]] inline void transpose(F64*) noexcept {}

}  // namespace
}  // namespace kyv::simd
