#include "geometry.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include "error.h"

namespace kyv::host {
namespace {

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr double kReasonableEnlargement = 16;

// Takes a sequence of lengths and separators apart, from left to right.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {}

  bool take(char c) {
    if (at_ == end_ || *at_ != c) return false;
    ++at_;
    return true;
  }

  // A number of at least 0, whole unless a percent sign follows; nothing where none begins.
  std::optional<Length> length() {
    Length length;
    const auto result = std::from_chars(at_, end_, length.value);
    if (result.ec == std::errc::invalid_argument) return std::nullopt;
    at_ = result.ptr;
    length.percent = take('%');
    const bool whole = length.percent || length.value == std::floor(length.value);
    sound_ = sound_ && result.ec == std::errc() && whole && !std::signbit(length.value) &&
             length.value <= kLargest;
    return length;
  }

  // Whether all was read, and all of it made sense.
  bool at_end() const { return sound_ && at_ == end_; }

 private:
  const char* at_;
  const char* end_;
  bool sound_ = true;
};

bool is_side(const std::optional<Length>& length) { return !length || length->value > 0; }

int rounded_side(double side) {
  if (side >= kLargest) throw Error("the result would have more than 2147483647 pixels a side");
  return std::max(1, static_cast<int>(std::lround(side)));
}

Size scaled(Size size, double factor) {
  return {rounded_side(size.width * factor), rounded_side(size.height * factor)};
}

bool grows(Size from, Size to) { return to.width > from.width || to.height > from.height; }

// Where `length` pixels begin that lie in the middle of `side`.
int centred(int side, int length) { return (side - length) / 2; }

struct Span {
  int start;
  int length;
};

Span span_of(const Length& length, const std::optional<Length>& start, int side) {
  Span span{0, rounded_side(length.pixels(side))};
  span.start = start ? static_cast<int>(std::lround(start->pixels(side))) : centred(side, span.length);
  // Percentages round to what may stand out by a pixel.
  if (length.percent && start && start->percent && span.length - (side - span.start) == 1) --span.length;
  return span;
}

Rectangle region_of(const std::optional<Region>& region, Size source) {
  if (!region) return {0, 0, source.width, source.height};
  const Span x = span_of(region->width, region->x, source.width);
  const Span y = span_of(region->height, region->y, source.height);
  const auto beyond = [](Span span, int side) {
    return span.start < 0 || span.start > side || span.length < 1 || span.length > side - span.start;
  };
  if (beyond(x, source.width) || beyond(y, source.height)) {
    throw Error("the region reaches beyond the picture, which has " + text_of(source) + " pixels");
  }
  return {x.start, y.start, x.length, y.length};
}

// The size that the sides ask for; a missing one keeps the proportions.
Size asked_size(const Target& target, Size from) {
  if (!target.height) return scaled(from, target.width->pixels(from.width) / from.width);
  if (!target.width) return scaled(from, target.height->pixels(from.height) / from.height);
  return {rounded_side(target.width->pixels(from.width)), rounded_side(target.height->pixels(from.height))};
}

double factor_within(Size box, Size from) {
  return std::min(static_cast<double>(box.width) / from.width, static_cast<double>(box.height) / from.height);
}

Placement covering(const Target& target, Rectangle region, Size box) {
  const Size from{region.width, region.height};
  double factor =
      std::max(static_cast<double>(box.width) / from.width, static_cast<double>(box.height) / from.height);
  if (target.only_shrink && factor > 1) {
    factor = 1;
    box = {std::min(box.width, from.width), std::min(box.height, from.height)};
  }
  const int width = std::min(from.width, rounded_side(box.width / factor));
  const int height = std::min(from.height, rounded_side(box.height / factor));
  region = {region.x + centred(from.width, width), region.y + centred(from.height, height), width, height};
  return {region, box, box};
}

}  // namespace

std::string text_of(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

Size parse_size(const std::string& text, const std::string& option) {
  Scanner scanner(text);
  const auto width = scanner.length();
  const bool separated = scanner.take('x');
  const auto height = separated ? scanner.length() : std::nullopt;
  if (!width || !height || !scanner.at_end() || width->percent || height->percent || width->value < 1 ||
      height->value < 1) {
    throw UsageError(option + ": '" + text + "' is not a size; write WIDTHxHEIGHT, as in 800x600");
  }
  return {static_cast<int>(width->value), static_cast<int>(height->value)};
}

Target parse_target(Way way, const std::string& text, const std::string& option) {
  const bool box = way != Way::kExact;
  Target target;
  target.way = way;
  Scanner scanner(text);
  target.width = scanner.length();
  if (scanner.take('x')) {
    target.height = scanner.length();
  } else if (target.width && (target.width->percent || box)) {
    target.height = target.width;
  }
  target.only_shrink = scanner.take('>');
  const bool complete = target.width && target.height;
  const bool one_side = !box && text.find('x') != std::string::npos && (target.width || target.height);
  if (!scanner.at_end() || !(complete || one_side) || !is_side(target.width) || !is_side(target.height)) {
    throw UsageError(option + ": '" + text + "' is not a size; write 800x600, " +
                     (box ? "800 for a square, or 50%" : "800x or x600 to keep the proportions, or 50%"));
  }
  return target;
}

Target parse_scale(const std::string& text, const std::string& option) {
  Target target;
  target.only_shrink = text.ends_with('>');
  const char* end = text.data() + text.size() - (target.only_shrink ? 1 : 0);
  Length scale{0, true};
  auto [at, failure] = std::from_chars(text.data(), end, scale.value);
  const bool percent = at != end && *at == '%';
  if (percent) ++at;
  if (failure != std::errc() || at != end || !(scale.value > 0) || !std::isfinite(scale.value)) {
    throw UsageError(option + ": '" + text + "' is not a scale; write a factor above 0, as in 0.25 or 25%");
  }
  if (!percent) scale.value *= 100;
  target.width = target.height = scale;
  return target;
}

Region parse_region(const std::string& text, const std::string& option) {
  Scanner scanner(text);
  std::optional<Length> first = scanner.length();
  Region region;
  bool sound = first.has_value();
  if (sound && scanner.take(',')) {
    region.x = first;
    region.y = scanner.length();
    const auto width = scanner.take(',') ? scanner.length() : std::nullopt;
    const auto height = scanner.take(',') ? scanner.length() : std::nullopt;
    sound = region.y && width && height;
    region.width = width.value_or(Length());
    region.height = height.value_or(Length());
  } else if (sound && scanner.take('x')) {
    const auto height = scanner.length();
    sound = height.has_value();
    region.width = *first;
    region.height = height.value_or(Length());
    if (sound && scanner.take('+')) {
      region.x = scanner.length();
      region.y = scanner.take('+') ? scanner.length() : std::nullopt;
      sound = region.x && region.y;
    }
  } else {
    sound = false;
  }
  if (!sound || !scanner.at_end() || region.width.value <= 0 || region.height.value <= 0) {
    throw UsageError(
        option + ": '" + text +
        "' is not a region; write X,Y,WIDTH,HEIGHT or WIDTHxHEIGHT+X+Y, as in 320x240+100+50, in "
        "pixels or percent");
  }
  return region;
}

Placement placement_of(const Target& target, Size source) {
  const Rectangle region = region_of(target.region, source);
  const Size from{region.width, region.height};
  const Size asked = asked_size(target, from);
  if (target.way == Way::kCover) return covering(target, region, asked);

  Placement placement{region, asked, asked};
  if (target.way != Way::kExact) {
    const double factor = factor_within(asked, from);
    placement.size = target.only_shrink && factor > 1 ? from : scaled(from, factor);
  } else if (target.only_shrink && grows(from, asked)) {
    placement.size = from;
  }
  if (target.way != Way::kPad) placement.canvas = placement.size;
  placement.x = centred(placement.canvas.width, placement.size.width);
  placement.y = centred(placement.canvas.height, placement.size.height);
  return placement;
}

bool enlarges_beyond_reason(const Placement& placement) {
  return placement.size.width > kReasonableEnlargement * placement.region.width ||
         placement.size.height > kReasonableEnlargement * placement.region.height;
}

}  // namespace kyv::host
