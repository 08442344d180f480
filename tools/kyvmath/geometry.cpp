#include "geometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "error.h"
#include "scanner.h"

namespace kyv::host {
namespace {

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr double kReasonableEnlargement = 16;

// A length of at least 0 where one begins: whole unless a percent sign follows. Others make `sound` false.
std::optional<Length> take_length(Scanner& scanner, bool& sound) {
  const auto number = scanner.number();
  if (!number) return std::nullopt;
  const Length length{*number, scanner.take('%')};
  const bool whole = length.percent || length.value == std::floor(length.value);
  sound = sound && whole && !std::signbit(length.value) && length.value <= kLargest;
  return length;
}

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

Target parse_target(Way way, const std::string& text, const std::string& option) {
  const bool box = way != Way::kExact;
  bool sound = true;
  Target target;
  target.way = way;
  Scanner scanner(text);
  target.width = take_length(scanner, sound);
  const bool separated = scanner.take('x');
  if (separated) {
    target.height = take_length(scanner, sound);
  } else if (target.width && (target.width->percent || box)) {
    target.height = target.width;
  }
  target.only_shrink = scanner.take('>');
  const bool complete = target.width && target.height;
  const bool one_side = !box && separated && (target.width || target.height);
  if (!sound || !scanner.at_end() || !(complete || one_side) || !is_side(target.width) ||
      !is_side(target.height)) {
    throw UsageError(option + ": '" + text + "' is not a size; write 800x600, " +
                     (box ? "800 for a square, or 50%" : "800x or x600 to keep the proportions, or 50%"));
  }
  return target;
}

Size parse_size(const std::string& text, const std::string& option) {
  const auto [way, width, height, only_shrink, region] = parse_target(Way::kExact, text, option);
  if (!width || !height || width->percent || height->percent || only_shrink) {
    throw UsageError(option + ": '" + text + "' is not a size; write WIDTHxHEIGHT, as in 800x600");
  }
  return {static_cast<int>(width->value), static_cast<int>(height->value)};
}

Target parse_scale(const std::string& text, const std::string& option) {
  Scanner scanner(text);
  const double factor = scanner.number().value_or(0);
  const double percent = scanner.take('%') ? factor : factor * 100;
  Target target;
  target.only_shrink = scanner.take('>');
  if (!scanner.at_end() || !(percent > 0)) {
    throw UsageError(option + ": '" + text + "' is not a scale; write a factor above 0, as in 0.25 or 25%");
  }
  target.width = target.height = Length{percent, true};
  return target;
}

Region parse_region(const std::string& text, const std::string& option) {
  bool sound = true;
  Scanner scanner(text);
  // The length after a separator; without either there is no region.
  const auto next = [&](char separator) {
    const auto length = scanner.take(separator) ? take_length(scanner, sound) : std::nullopt;
    sound = sound && length.has_value();
    return length.value_or(Length());
  };
  const auto first = take_length(scanner, sound);
  Region region;
  if (text.find(',') != std::string::npos) {
    region.x = first;
    region.y = next(',');
    region.width = next(',');
    region.height = next(',');
  } else {
    region.width = first.value_or(Length());
    region.height = next('x');
    if (!scanner.at_end()) {
      region.x = next('+');
      region.y = next('+');
    }
  }
  if (!sound || !first || !scanner.at_end() || region.width.value <= 0 || region.height.value <= 0) {
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
