#include <algorithm>
#include <cctype>
#include <chrono>

#include "../error.h"
#include "../geometry.h"
#include "../modes.h"
#include "batch.h"
#include "load.h"

namespace kyv::host {
namespace {

struct ResizeOptions {
  BatchOptions batch;
  std::string size;
  std::string scale;
  std::string fit;
  std::string cover;
  std::string pad;
  std::string region;
  std::string mode = "lanczos";
  std::string depth;
  bool only_shrink = false;
  bool force = false;
  bool premultiply = false;
  bool linear = false;
};

Target target_of(const ResizeOptions& options) {
  std::vector<Target> targets;
  const auto add = [&](Way way, const std::string& text, const char* option) {
    if (!text.empty()) targets.push_back(parse_target(way, text, option));
  };
  add(Way::kExact, options.size, "--size");
  add(Way::kFit, options.fit, "--fit");
  add(Way::kCover, options.cover, "--cover");
  add(Way::kPad, options.pad, "--pad");
  if (!options.scale.empty()) targets.push_back(parse_scale(options.scale, "--scale"));
  if (targets.empty() && !options.region.empty()) targets.push_back(parse_scale("1", "--scale"));
  if (targets.size() != 1) {
    throw UsageError("say the size of the result with one of --size, --scale, --fit, --cover and --pad");
  }
  if (!options.region.empty()) targets[0].region = parse_region(options.region, "--region");
  targets[0].only_shrink |= options.only_shrink;
  return targets[0];
}

const Mode& mode_of(std::string name) {
  std::ranges::transform(name, name.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  std::string names;
  for (const Mode& mode : kModes) {
    if (name == mode.name || std::ranges::find(mode.aliases, name) != mode.aliases.end()) return mode;
    names += (names.empty() ? "" : ", ") + std::string(mode.name);
  }
  throw UsageError("--mode: '" + name + "' is not one of " + names);
}

// One request, ready to be worked on for any number of pictures.
class Resizer {
 public:
  Resizer(const CommonOptions& common, const ResizeOptions& options)
      : target_(target_of(options)),
        mode_(mode_of(options.mode)),
        background_(parse_colour(options.batch.background, "--background")),
        options_(options),
        library_(load_library(common)) {}

  Image run(Image source, bool dry_run, Result& result) const {
    const Size size{source.width(), source.height()};
    const Placement placement = placement_of(target_, size);
    check(placement);
    const int bits = options_.depth.empty() ? source.format().bits : std::stoi(options_.depth);
    double seconds = 0;
    describe_result(size, placement, {source.format().channels, bits}, result);
    if (dry_run) return {};
    Image image = resized(std::move(source), placement, bits, seconds);
    result.json["library_seconds"] = seconds;
    const auto [width, height] = placement.canvas;
    if (width == image.width() && height == image.height()) return image;
    return on_canvas(image, width, height, placement.x, placement.y, background_);
  }

 private:
  // In 16 bits where light or depth ask for more than the picture's own.
  Image resized(Image source, const Placement& placement, int bits, double& seconds) const {
    const bool has_plain_alpha = source.format().channels == 4 && !source.metadata.premultiplied;
    const bool premultiplying = options_.premultiply && has_plain_alpha;
    const bool linear = options_.linear;
    if (linear && source.metadata.premultiplied) unpremultiply(source);
    if (linear || bits > source.format().bits)
      source = converted(source, 16, linear ? Curve::kToLinear : Curve::kNone);
    if (premultiplying || (linear && source.metadata.premultiplied)) premultiply(source);

    Image image(placement.size.width, placement.size.height, source.format());
    image.metadata = source.metadata;
    const auto start = std::chrono::steady_clock::now();
    library_.resize(mode_.value, source, placement.region, image);
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    source = Image();

    if (premultiplying || (linear && image.metadata.premultiplied)) unpremultiply(image);
    if (linear || bits != image.format().bits) {
      image = converted(image, bits, linear ? Curve::kFromLinear : Curve::kNone);
    }
    if (linear && image.metadata.premultiplied) premultiply(image);
    return image;
  }

  void check(const Placement& placement) const {
    const auto& [region, size, canvas, x, y] = placement;
    const std::string change = text_of({region.width, region.height}) + " to " + text_of(size);
    if (mode_.value == KYVMATH_SUPER && (size.width > region.width || size.height > region.height)) {
      throw Error("mode super only reduces, and " + change + " enlarges; use lanczos, cubic or linear");
    }
    if (enlarges_beyond_reason(placement) && !options_.force) {
      throw Error(change + " enlarges more than 16 times; --force does it all the same");
    }
  }

  void describe_result(Size source, const Placement& placement, PixelFormat format, Result& result) const {
    const Rectangle& region = placement.region;
    const Size part{region.width, region.height};
    result.figures = text_of(source);
    if (part.width != source.width || part.height != source.height) {
      result.figures +=
          " (" + text_of(part) + "+" + std::to_string(region.x) + "+" + std::to_string(region.y) + ")";
    }
    result.figures +=
        " -> " + text_of(placement.canvas) + "  " + describe(format) + "  " + std::string(mode_.name);
    const auto json_of = [](Size size) { return Json{{"width", size.width}, {"height", size.height}}; };
    result.json = {
        {"source", json_of(source)},
        {"region", {{"x", region.x}, {"y", region.y}, {"width", part.width}, {"height", part.height}}},
        {"destination", json_of(placement.canvas)},
        {"channels", format.channels},
        {"bits", format.bits},
        {"mode", mode_.name}};
  }

  const Target target_;
  const Mode& mode_;
  const Colour background_;
  const ResizeOptions& options_;
  const Library library_;
};

ExitStatus run_resize(const CommonOptions& common, const ResizeOptions& options) {
  target_of(options);
  mode_of(options.mode);
  const Batch batch(options.batch);
  const Resizer resizer(common, options);
  const int processors = static_cast<int>(platform::processor_count());
  return batch.run(common.json, true, options.batch.jobs > 0 ? options.batch.jobs : processors,
                   [&](const Job&, Image input, bool dry_run, Result& result) {
                     return resizer.run(std::move(input), dry_run, result);
                   });
}

}  // namespace

void add_resize_command(CommandLine& program, const CommonOptions& common) {
  auto options = std::make_shared<ResizeOptions>();
  Arguments command = program.command(
      "resize", "Resize pictures",
      "Bit depth, channels, EXIF, XMP, ICC profile and resolution are kept; pictures are turned upright. A "
      "'>' after\n"
      "a size ('800x600>', in quotes) is --only-shrink. Alpha is resampled as an ordinary fourth channel;\n"
      "--premultiply weights colour by it, which avoids dark or coloured fringes.\n\n"
      "Examples:\n"
      "  kyvmath resize photo.jpg small.jpg --fit 1600\n"
      "  kyvmath resize photo.tif small.tif --scale 25% --linear\n"
      "  kyvmath resize photo.jpg detail.png --region 320x240+800+600 --size 1280x\n"
      "  kyvmath resize *.tif --out web --format jpg --cover 400x400 --jobs 4",
      [=, &common] { return run_resize(common, *options); });
  command.text("--size", options->size, "Size of the result: 800x600, 800x, x600 or 50%", "WxH");
  command.text("--scale", options->scale, "Factor for both sides: 0.25 or 25%", "F");
  command.text("--fit", options->fit, "Largest size within this box, proportions kept; 800 is 800x800",
               "WxH");
  command.text("--cover", options->cover, "Exactly this size, proportions kept; what stands out is cut off",
               "WxH");
  command.text("--pad", options->pad, "Exactly this size, proportions kept; what stays empty is filled",
               "WxH");
  command.flag("--only-shrink", options->only_shrink, "Leave pictures as large as they are that would grow");
  command.flag("--force", options->force, "Enlarge more than 16 times, too");
  command.text("--region,--crop", options->region,
               "Take this part of the picture only: X,Y,W,H or WxH+X+Y, also in %", "REGION");
  std::string description = "How pixels are made:";
  for (const Mode& mode : kModes) {
    description += "\n  " + std::string(mode.name) + ": " + std::string(mode.description);
  }
  command.text("--mode", options->mode, description, "MODE");
  command.flag("--linear", options->linear,
               "Resize light, not the values of the sRGB curve that stand for it");
  command.choice("--depth", options->depth, "Bits of the result's samples (default: as they are)",
                 {"8", "16"});
  command.flag("--premultiply", options->premultiply, "Multiply colour by alpha before, divide it out after");
  command.integer("--jobs", options->batch.jobs, "Pictures worked on at once (default: one per processor)",
                  "N", 1, 256);
  add_batch_options(command, options->batch);
}

}  // namespace kyv::host
