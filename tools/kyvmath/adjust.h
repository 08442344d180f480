#pragma once

#include <string>

#include "image.h"

// Changes to whole pictures that the library has no part in. Metadata goes along.
namespace kyv::host {

struct Colour {
  int red = 255;
  int green = 255;
  int blue = 255;
  int alpha = 255;
};

// "white", "black", "grey", "transparent", "#rgb", "#rrggbb" or "#rrggbbaa". Throws UsageError that names the
// option.
Colour parse_colour(const std::string& text, const std::string& option);

// The picture turned and mirrored as its orientation says, which becomes 1.
Image upright(Image image);

// What is done to colour samples on the way between depths: nothing but scaling; or the tone curve of sRGB
// undone, or applied. Alpha is only ever scaled.
enum class Curve { kNone, kToLinear, kFromLinear };

// The picture with 8 or 16 bits a sample, rounded to nearest.
Image converted(const Image& image, int bits, Curve curve = Curve::kNone);

// An RGBA picture as RGB, laid over a colour. Others stay as they are.
Image flattened(Image image, Colour background);

// A canvas of one colour that holds the picture at (x, y). Grey pictures get the colour's luma.
Image on_canvas(const Image& image, int width, int height, int x, int y, Colour background);

}  // namespace kyv::host
