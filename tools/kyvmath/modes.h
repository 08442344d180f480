#pragma once

#include <KyvMath.h>

#include <array>
#include <string_view>

namespace kyv::host {

struct Mode {
  std::string_view name;
  KyvMathMode value;
  std::string_view description;
  std::array<std::string_view, 3> aliases;  // of other programs; empty ones are none
};

inline constexpr std::array<Mode, 5> kModes{{
    {"nearest",
     KYVMATH_NEAREST,
     "copies the nearest pixel: hard edges, no new values",
     {"point", "neighbor", "neighbour"}},
    {"linear", KYVMATH_LINEAR, "triangle filter: soft, never overshoots", {"bilinear", "triangle", "tent"}},
    {"cubic",
     KYVMATH_CUBIC,
     "four-point Lagrange filter: sharper, overshoots a little",
     {"bicubic", "lagrange"}},
    {"super", KYVMATH_SUPER, "area average: for reduction only", {"area", "box", "average"}},
    {"lanczos",
     KYVMATH_LANCZOS,
     "three-lobed Lanczos filter: the sharpest, rings a little at hard edges",
     {"lanczos3", "sinc"}},
}};

}  // namespace kyv::host
