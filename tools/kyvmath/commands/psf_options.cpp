#include "psf_options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "../error.h"
#include "../image_io.h"
#include "../npy.h"
#include "../psf.h"

namespace kyv::host {
namespace {

constexpr double kLargestParameter = 10000;

struct Motion {
  double length = 0;
  double angle = 0;
};

Motion parse_motion(const std::string& text) {
  Motion motion;
  const char* const end = text.data() + text.size();
  const auto length = std::from_chars(text.data(), end, motion.length);
  const bool comma = length.ec == std::errc() && length.ptr != end && *length.ptr == ',';
  const auto angle = comma ? std::from_chars(length.ptr + 1, end, motion.angle) : length;
  const bool sound = comma && angle.ec == std::errc() && angle.ptr == end && std::isfinite(motion.angle);
  if (!sound || !(motion.length > 0) || motion.length > kLargestParameter) {
    throw UsageError("--motion: '" + text + "' is not LENGTH,ANGLE in pixels and degrees, as in 12,30");
  }
  return motion;
}

// "X,Y"
Size parse_centre(const std::string& text) {
  const auto comma = text.find(',');
  Size centre{-1, -1};
  if (comma != std::string::npos) {
    const char* const end = text.data() + text.size();
    const auto x = std::from_chars(text.data(), text.data() + comma, centre.width);
    const auto y = std::from_chars(text.data() + comma + 1, end, centre.height);
    if (x.ec == std::errc() && y.ec == std::errc() && x.ptr == text.data() + comma && y.ptr == end &&
        centre.width >= 0 && centre.height >= 0) {
      return centre;
    }
  }
  throw UsageError("--psf-center: '" + text + "' is not X,Y in pixels, as in 128,128");
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
    if (!options.centre.empty()) {
      const Size centre = parse_centre(options.centre);
      if (centre.width >= psf.width || centre.height >= psf.height) {
        throw UsageError("--psf-center: lies beyond the " + std::to_string(psf.width) + "x" +
                         std::to_string(psf.height) + " pixels of " + display(file));
      }
      roll(psf, centre.width, centre.height, psf.width / 2, psf.height / 2);
    }
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
  const Motion motion = parse_motion(options.motion);
  return psf::motion(motion.length, motion.angle, size);
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
