#include "psf_options.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "../error.h"
#include "../image_io.h"
#include "../npy.h"
#include "../psf.h"
#include "../scanner.h"

namespace kyv::host {
namespace {

constexpr double kLargestParameter = 10000;

// Two numbers with a comma between them, or nothing.
std::optional<std::pair<double, double>> parse_pair(const std::string& text) {
  Scanner scanner(text);
  const auto first = scanner.number();
  const auto second = first && scanner.take(',') ? scanner.number() : std::nullopt;
  if (!second || !scanner.at_end()) return std::nullopt;
  return std::pair(*first, *second);
}

ComplexPlanes make_motion(const std::string& text, std::optional<Size> size) {
  const auto motion = parse_pair(text);
  if (!motion || !(motion->first > 0) || motion->first > kLargestParameter) {
    throw UsageError("--motion: '" + text + "' is not LENGTH,ANGLE in pixels and degrees, as in 12,30");
  }
  return psf::motion(motion->first, motion->second, size);
}

// Moves the point that the text names to the middle.
void centre(ComplexPlanes& psf, const std::string& text) {
  const auto [x, y] = parse_pair(text).value_or(std::pair(-1.0, -1.0));
  if (x < 0 || y < 0 || x >= psf.width || y >= psf.height || x != std::floor(x) || y != std::floor(y)) {
    throw UsageError("--psf-center: '" + text + "' is not X,Y, as in 128,128, within the " +
                     text_of({psf.width, psf.height}) + " pixels of the function");
  }
  roll(psf, static_cast<int>(x), static_cast<int>(y), psf.width / 2, psf.height / 2);
}

bool is_npy(const std::filesystem::path& file) { return file.extension() == ".npy"; }

// Moves the plane into a frame of another size so that the centres coincide; what lies beyond is cut off.
ComplexPlanes in_size(const ComplexPlanes& psf, Size size) {
  ComplexPlanes framed(size.width, size.height, psf.planes);
  const int dx = size.width / 2 - psf.width / 2;
  const int dy = size.height / 2 - psf.height / 2;
  for (int p = 0; p < psf.planes; ++p) {
    for (int y = std::max(0, -dy); y < psf.height && y + dy < size.height; ++y) {
      for (int x = std::max(0, -dx); x < psf.width && x + dx < size.width; ++x) {
        framed.real[framed.index(x + dx, y + dy, p)] = psf.real[psf.index(x, y, p)];
      }
    }
  }
  return framed;
}

ComplexPlanes psf_from_file(const PsfOptions& options, std::optional<Size> size) {
  const auto file = to_path(options.file);
  try {
    ComplexPlanes psf = is_npy(file) ? npy::read(file) : planes_from(read_image(file));
    std::ranges::fill(psf.imag, 0.0);
    if (!options.centre.empty()) centre(psf, options.centre);
    if (size) psf = in_size(psf, *size);
    psf::normalise(psf);
    return psf;
  } catch (const UsageError&) {
    throw;
  } catch (const Error& error) {
    const std::string text = error.what();
    const std::string name = display(file) + ": ";
    throw Error(text.starts_with(name) ? text : name + text);
  }
}

}  // namespace

void add_psf_options(Arguments& command, PsfOptions& options) {
  constexpr double kLeastParameter = 1e-3;
  command.group("Point-spread function");
  command.number("--gaussian", options.gaussian, "Gaussian of this standard deviation, in pixels", "S",
                 kLeastParameter, kLargestParameter);
  command.number("--disk", options.disk, "Uniform disk of this radius, in pixels: a defocused lens", "R",
                 kLeastParameter, kLargestParameter);
  command.text("--motion", options.motion, "Straight movement: pixels, degrees counter-clockwise", "L,ANGLE");
  command.number("--airy", options.airy, "Perfect circular lens: radius of the first dark ring, in pixels",
                 "R", kLeastParameter, kLargestParameter);
  command.text("--psf-size", options.size, "Size of the function's picture (otf: default 256x256)", "WxH");
  command.text("--psf-center", options.centre, "Centre of a function that is read (default: W/2,H/2)", "X,Y");
  command.group("");
}

bool makes_psf(const PsfOptions& options) {
  return options.gaussian > 0 || options.disk > 0 || options.airy > 0 || !options.motion.empty();
}

ComplexPlanes psf_from(const PsfOptions& options) {
  const int given = !options.file.empty() + (options.gaussian > 0) + (options.disk > 0) + (options.airy > 0) +
                    !options.motion.empty();
  if (given != 1) {
    throw UsageError("name one point-spread function: a file, --gaussian, --disk, --motion or --airy");
  }
  std::optional<Size> size;
  if (!options.size.empty()) size = parse_size(options.size, "--psf-size");
  if (!options.file.empty()) return psf_from_file(options, size);
  if (options.gaussian > 0) return psf::gaussian(options.gaussian, size);
  if (options.disk > 0) return psf::disk(options.disk, size);
  if (options.airy > 0) return psf::airy(options.airy, size);
  return make_motion(options.motion, size);
}

std::string describe(const PsfOptions& options) {
  const auto with = [](const std::string& name, double value) {
    char text[32];
    std::snprintf(text, sizeof text, " %g", value);
    return name + text;
  };
  if (options.gaussian > 0) return with("gaussian", options.gaussian);
  if (options.disk > 0) return with("disk", options.disk);
  if (options.airy > 0) return with("airy", options.airy);
  if (!options.motion.empty()) return "motion " + options.motion;
  return display(to_path(options.file).filename());
}

}  // namespace kyv::host
