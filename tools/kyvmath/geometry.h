#pragma once

#include <optional>
#include <string>

#include "library.h"

namespace kyv::host {

struct Size {
  int width = 0;
  int height = 0;
};

// What the user asked for: exactly one of the three sizes, and perhaps a region.
struct Target {
  std::optional<Size> size;
  std::optional<double> scale;
  std::optional<Size> fit;
  std::optional<Rectangle> region;
};

// "800x600", both at least 1. Throws UsageError that names the option.
Size parse_size(const std::string& text, const std::string& option);
// "X,Y,W,H". Throws UsageError that names the option.
Rectangle parse_rectangle(const std::string& text, const std::string& option);
// "0.25" or "25%". Throws UsageError that names the option.
double parse_scale(const std::string& text, const std::string& option);

// The part of a source of this size that is resized. Throws Error when the region does not lie within it.
Rectangle region_of(const Target& target, Size source);

// The size of the result, rounded to nearest and at least 1 x 1. Throws Error when it is beyond 2^31-1.
Size destination_of(const Target& target, Size region);

}  // namespace kyv::host
