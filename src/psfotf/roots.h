// Roots of unity, accurate to the last place.
#pragma once

#include <cstdint>

namespace kyv::psfotf {

// re[k] + i im[k] = exp(-2 pi i k / n) for k < count <= n, each part within 1.5 of the last place of a
// number between 1/2 and 1. About 2 sqrt(m) sines are evaluated for the first m = n / 8 roots, n / 4 or n /
// 2, as n can be divided; the rest are products of a coarse and a fine root, mirror images, or turned by a
// quarter or half.
template <class T>
void fill_roots(std::int32_t n, std::int32_t count, T* re, T* im) noexcept;

extern template void fill_roots<float>(std::int32_t, std::int32_t, float*, float*) noexcept;
extern template void fill_roots<double>(std::int32_t, std::int32_t, double*, double*) noexcept;

}  // namespace kyv::psfotf
