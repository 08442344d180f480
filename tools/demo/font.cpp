#include <stb/stb_truetype.h>

#include <cmath>
#include <fstream>
#include <iterator>

#include "canvas.h"
#include "error.h"

namespace kyv::samples {
namespace {

stbtt_fontinfo open_font(const std::vector<unsigned char>& data) {
  stbtt_fontinfo font;
  const int start = stbtt_GetFontOffsetForIndex(data.data(), 0);
  if (data.empty() || start < 0 || stbtt_InitFont(&font, data.data(), start) == 0) {
    throw host::Error("not a font file");
  }
  return font;
}

double advance_of(const stbtt_fontinfo& font, float scale, char letter, char next) {
  int advance = 0;
  int bearing = 0;
  stbtt_GetCodepointHMetrics(&font, letter, &advance, &bearing);
  return static_cast<double>(scale) * (advance + stbtt_GetCodepointKernAdvance(&font, letter, next));
}

}  // namespace

Font::Font(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  data_.assign(std::istreambuf_iterator<char>(in), {});
  if (data_.empty()) throw host::Error(file.string() + ": no font there");
  open_font(data_);
}

void Font::draw(Canvas& canvas, double x, double y, double size, const std::string& ascii,
                const Colour& colour) const {
  const stbtt_fontinfo font = open_font(data_);
  const float scale = stbtt_ScaleForPixelHeight(&font, static_cast<float>(size));
  for (std::size_t i = 0; i < ascii.size(); ++i) {
    const double whole = std::floor(x);
    int width = 0;
    int height = 0;
    int left = 0;
    int top = 0;
    unsigned char* glyph = stbtt_GetCodepointBitmapSubpixel(
        &font, scale, scale, static_cast<float>(x - whole), 0, ascii[i], &width, &height, &left, &top);
    for (int row = 0; row < height; ++row) {
      for (int column = 0; column < width; ++column) {
        canvas.mix(static_cast<int>(whole) + left + column, static_cast<int>(std::lround(y)) + top + row,
                   colour, glyph[row * width + column] / 255.0);
      }
    }
    stbtt_FreeBitmap(glyph, nullptr);
    x += advance_of(font, scale, ascii[i], i + 1 < ascii.size() ? ascii[i + 1] : '\0');
  }
}

double Font::width(double size, const std::string& ascii) const {
  const stbtt_fontinfo font = open_font(data_);
  const float scale = stbtt_ScaleForPixelHeight(&font, static_cast<float>(size));
  double total = 0;
  for (std::size_t i = 0; i < ascii.size(); ++i) {
    total += advance_of(font, scale, ascii[i], i + 1 < ascii.size() ? ascii[i + 1] : '\0');
  }
  return total;
}

}  // namespace kyv::samples
