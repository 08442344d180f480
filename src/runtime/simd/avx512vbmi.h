// The vector types on AVX-512 with VBMI, which permutes bytes across a whole vector (Ice Lake, Zen 4 and
// later).
//
// For kernel units only: everything is that of avx512.h.
#pragma once

#include "runtime/simd/avx512.h"
