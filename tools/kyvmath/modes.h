#pragma once

#include <KyvMath.h>

#include <array>
#include <string_view>

namespace kyv::host {

struct Mode {
  std::string_view name;
  KyvMathMode value;
  std::string_view description;
};

inline constexpr std::array<Mode, 5> kModes{{
    {"nearest", KYVMATH_NEAREST, "copies the nearest pixel: hard edges, no new values"},
    {"linear", KYVMATH_LINEAR, "triangle filter: soft, never overshoots"},
    {"cubic", KYVMATH_CUBIC, "four-point Lagrange filter: sharper, overshoots a little"},
    {"super", KYVMATH_SUPER, "area average: for reduction only"},
    {"lanczos", KYVMATH_LANCZOS, "three-lobed Lanczos filter: the sharpest, rings a little at hard edges"},
}};

}  // namespace kyv::host
