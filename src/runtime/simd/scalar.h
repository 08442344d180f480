// The vector types without vectors: one lane, plain C++, the meaning of every other header here.
//
// For kernel units only. Everything sits in an unnamed namespace, so that no copy compiled for this
// instruction set can be picked by the linker for an older processor.
#pragma once

#include <cstddef>
#include <cstdint>

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

inline F32 load(const float* p) noexcept { return {*p}; }
inline void store(float* p, F32 a) noexcept { *p = a.v; }
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

inline F64 load(const double* p) noexcept { return {*p}; }
inline void store(double* p, F64 a) noexcept { *p = a.v; }
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

}  // namespace
}  // namespace kyv::simd

// Transforms: doubles in and out, square transposition.
namespace kyv::simd {
namespace {

// kLanes doubles rounded to the lane type, and lanes widened to doubles.
inline void load_doubles(F32& a, const double* p) noexcept { a.v = static_cast<float>(*p); }
inline void load_doubles(F64& a, const double* p) noexcept { a.v = *p; }
inline void store_doubles(double* p, F32 a) noexcept { *p = static_cast<double>(a.v); }
inline void store_doubles(double* p, F64 a) noexcept { *p = a.v; }
// The same past the caches; p aligned to 64 bytes or to the vector, whichever is less.
inline void stream_doubles(double* p, F32 a) noexcept { *p = static_cast<double>(a.v); }
inline void stream_doubles(double* p, F64 a) noexcept { *p = a.v; }
inline void stream_fence() noexcept {}

// Row i, lane j of kLanes rows becomes row j, lane i.
inline void transpose(F32*) noexcept {}
inline void transpose(F64*) noexcept {}

}  // namespace
}  // namespace kyv::simd
