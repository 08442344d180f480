#pragma once

#include <optional>
#include <string>

#include "library.h"

namespace kyv::host {

struct Size {
  int width = 0;
  int height = 0;
};

// A length in pixels, or in percent of the side that it is taken along.
struct Length {
  double value = 0;
  bool percent = false;

  double pixels(int side) const { return percent ? value / 100 * side : value; }
};

// "X,Y,W,H", "WxH+X+Y", or "WxH" in the middle of the picture.
struct Region {
  Length width, height;
  std::optional<Length> x, y;
};

// How a picture comes to the size that was asked for.
enum class Way {
  kExact,  // both sides as given; one that is not given follows from the proportions
  kFit,    // the largest size within the box, proportions kept
  kCover,  // the box exactly; what stands out on two sides is cut off
  kPad,    // the box exactly; what stays empty on two sides is filled
};

struct Target {
  Way way = Way::kExact;
  std::optional<Length> width, height;
  bool only_shrink = false;  // a picture that would grow keeps its size
  std::optional<Region> region;
};

// A request worked out for one picture: this part of it becomes `size` pixels, which lie at (x, y) of a
// canvas.
struct Placement {
  Rectangle region;
  Size size;
  Size canvas;
  int x = 0;
  int y = 0;
};

std::string text_of(Size size);

// Each throws UsageError that names the option.
//
// "800x600", both at least 1.
Size parse_size(const std::string& text, const std::string& option);
// "800x600", "800x", "x600", "50%", "50%x25%"; with a box also "800" for both sides. A '>' at the end: only
// shrink.
Target parse_target(Way way, const std::string& text, const std::string& option);
// "0.25" or "25%", perhaps with a '>' at the end.
Target parse_scale(const std::string& text, const std::string& option);
Region parse_region(const std::string& text, const std::string& option);

// Sides are rounded to nearest and are at least 1. Throws Error when the region does not lie within the
// source or a side of the result is beyond 2^31-1.
Placement placement_of(const Target& target, Size source);

// Whether a side grows more than 16 times: more often a slip than a wish.
bool enlarges_beyond_reason(const Placement& placement);

}  // namespace kyv::host
