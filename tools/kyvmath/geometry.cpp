#include "geometry.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <span>
#include <string_view>

#include "error.h"

namespace kyv::host {
namespace {

constexpr int kLargest = std::numeric_limits<int>::max();

// Reads whole numbers set apart by `separator`; false unless the text holds exactly as many as asked for.
bool parse_integers(std::string_view text, char separator, std::span<int> numbers) {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0 && (at == end || *at++ != separator)) return false;
    const auto result = std::from_chars(at, end, numbers[i]);
    if (result.ec != std::errc()) return false;
    at = result.ptr;
  }
  return at == end;
}

int rounded_side(double side) {
  if (side >= kLargest) throw Error("the result would have more than 2147483647 pixels a side");
  return std::max(1, static_cast<int>(std::lround(side)));
}

std::string text_of(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

}  // namespace

Size parse_size(const std::string& text, const std::string& option) {
  std::array<int, 2> n{};
  if (!parse_integers(text, 'x', n) || n[0] < 1 || n[1] < 1) {
    throw UsageError(option + ": '" + text + "' is not a size; write WIDTHxHEIGHT, as in 800x600");
  }
  return {n[0], n[1]};
}

Rectangle parse_rectangle(const std::string& text, const std::string& option) {
  std::array<int, 4> n{};
  if (!parse_integers(text, ',', n) || n[0] < 0 || n[1] < 0 || n[2] < 1 || n[3] < 1) {
    throw UsageError(option + ": '" + text +
                     "' is not a region; write X,Y,WIDTH,HEIGHT, as in 100,50,320,240");
  }
  return {n[0], n[1], n[2], n[3]};
}

double parse_scale(const std::string& text, const std::string& option) {
  const bool percent = !text.empty() && text.back() == '%';
  const char* const end = text.data() + text.size() - (percent ? 1 : 0);
  double scale = 0;
  const auto result = std::from_chars(text.data(), end, scale);
  if (result.ec != std::errc() || result.ptr != end || !(scale > 0) || !std::isfinite(scale)) {
    throw UsageError(option + ": '" + text + "' is not a scale; write a factor above 0, as in 0.25 or 25%");
  }
  return percent ? scale / 100 : scale;
}

Rectangle region_of(const Target& target, Size source) {
  if (!target.region) return {0, 0, source.width, source.height};
  const Rectangle& region = *target.region;
  const auto beyond = [](int start, int length, int size) { return start > size || length > size - start; };
  if (beyond(region.x, region.width, source.width) || beyond(region.y, region.height, source.height)) {
    throw Error("the region reaches beyond the picture, which has " + text_of(source) + " pixels");
  }
  return region;
}

Size destination_of(const Target& target, Size region) {
  if (target.size) return *target.size;
  double scale = target.scale.value_or(1);
  if (target.fit) {
    scale = std::min(static_cast<double>(target.fit->width) / region.width,
                     static_cast<double>(target.fit->height) / region.height);
  }
  return {rounded_side(region.width * scale), rounded_side(region.height * scale)};
}

}  // namespace kyv::host
