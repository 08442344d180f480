#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "../error.h"
#include "../image_io.h"
#include "../mtf.h"
#include "../npy.h"
#include "load.h"
#include "psf_options.h"
#include "report.h"

namespace kyv::host {
namespace {

constexpr const char* kDefaultOtfSize = "256x256";

struct OtfOptions {
  std::vector<std::string> files;
  PsfOptions psf;
  bool single = false;
};

struct PsfCommandOptions {
  std::string otf;
  std::string output;
  bool single = false;
};

Precision precision_of(bool single) { return single ? Precision::kSingle : Precision::kDouble; }

// What the name of an output asks for.
struct OtfOutputs {
  std::filesystem::path planes;
  std::filesystem::path magnitude;
  std::filesystem::path plot;
};

OtfOutputs outputs_of(const std::filesystem::path& name) {
  const std::string extension = display(name.extension());
  if (extension == ".npy") return {name, {}, {}};
  if (extension == ".svg") return {{}, {}, name};
  if (!extension.empty()) {
    type_from_name(name);
    return {{}, name, {}};
  }
  const auto with = [&name](const char* ending) {
    auto file = name;
    return file += ending;
  };
  return {with(".npy"), with("-magnitude.png"), with("-mtf.svg")};
}

void check_not_input(const std::filesystem::path& input, const std::filesystem::path& output) {
  std::error_code ignored;
  if (std::filesystem::equivalent(input, output, ignored)) {
    throw UsageError(display(output) + ": is the input, too; give the result another name");
  }
}

Json curves_of(const Mtf& mtf) {
  Json half = Json::array();
  for (const auto& curve : mtf.planes) {
    const auto frequency = frequency_at(mtf.frequency, curve, 0.5);
    half.push_back(frequency ? Json(*frequency) : Json());
  }
  return {{"frequency", mtf.frequency}, {"planes", mtf.planes}, {"half_at", half}};
}

void report(const CommonOptions& common, const std::string& source, const ComplexPlanes& planes, Json details,
            const std::vector<std::filesystem::path>& written, double seconds) {
  if (!common.json) {
    for (const auto& file : written) {
      std::printf("%s -> %s  %dx%d  %d plane%s  %.3f s\n", source.c_str(), display(file).c_str(),
                  planes.width, planes.height, planes.planes, planes.planes == 1 ? "" : "s", seconds);
    }
    return;
  }
  Json result;
  result["source"] = source;
  result["width"] = planes.width;
  result["height"] = planes.height;
  result["planes"] = planes.planes;
  result["outputs"] = Json::array();
  for (const auto& file : written) result["outputs"].push_back(display(file));
  result["library_seconds"] = seconds;
  result.update(details);
  print_json(result);
}

double timed_conversion(const Library& library, Direction direction, bool single, ComplexPlanes& planes) {
  const auto start = std::chrono::steady_clock::now();
  library.convert(direction, precision_of(single), planes.real.data(), planes.imag.data(), planes.width,
                  planes.height, planes.planes);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

ExitStatus run_otf(const CommonOptions& common, OtfOptions options) {
  const bool made = makes_psf(options.psf);
  if (options.files.size() != (made ? 1u : 2u)) {
    throw UsageError(
        made ? "with a function made on the spot, give the output alone"
             : "give a PSF and an output, or --gaussian, --disk, --motion or --airy and an output");
  }
  if (!made) options.psf.file = options.files[0];
  if (made && options.psf.size.empty()) options.psf.size = kDefaultOtfSize;
  const OtfOutputs outputs = outputs_of(to_path(options.files.back()));
  for (const auto& output : {outputs.planes, outputs.magnitude, outputs.plot}) {
    if (!made) check_not_input(to_path(options.psf.file), output);
  }

  ComplexPlanes planes = psf_from(options.psf);
  const Library library = load_library(common);
  roll(planes, planes.width / 2, planes.height / 2, 0, 0);
  const double seconds = timed_conversion(library, Direction::kOtfFromPsf, options.single, planes);

  const Mtf mtf = radial_mtf(planes);
  std::vector<std::filesystem::path> written;
  if (!outputs.planes.empty()) {
    npy::write_complex(outputs.planes, planes);
    written.push_back(outputs.planes);
  }
  if (!outputs.magnitude.empty()) {
    write_image(outputs.magnitude, magnitude_picture(planes));
    written.push_back(outputs.magnitude);
  }
  if (!outputs.plot.empty()) {
    write_mtf_plot(outputs.plot, mtf, "MTF of " + describe(options.psf));
    written.push_back(outputs.plot);
  }
  report(common, describe(options.psf), planes, {{"mtf", curves_of(mtf)}}, written, seconds);
  return kSuccess;
}

ExitStatus run_psf(const CommonOptions& common, const PsfCommandOptions& options) {
  const auto output = to_path(options.output);
  const bool raw = output.extension() == ".npy";
  if (!raw) type_from_name(output);
  check_not_input(to_path(options.otf), output);

  ComplexPlanes planes = npy::read(to_path(options.otf));
  const Library library = load_library(common);
  const double seconds = timed_conversion(library, Direction::kPsfFromOtf, options.single, planes);
  roll(planes, 0, 0, planes.width / 2, planes.height / 2);

  double peak = 0;
  double residue = 0;
  for (std::size_t i = 0; i < planes.real.size(); ++i) {
    peak = std::max(peak, std::abs(planes.real[i]));
    residue = std::max(residue, std::abs(planes.imag[i]));
  }
  if (raw) {
    npy::write_real(output, planes);
  } else {
    write_image(output, image_from(planes));
  }
  report(common, options.otf, planes, {{"peak", peak}, {"largest_imaginary_part", residue}}, {output},
         seconds);
  return kSuccess;
}

}  // namespace

void add_otf_command(CommandLine& program, const CommonOptions& common) {
  auto options = std::make_shared<OtfOptions>();
  Arguments command = program.command(
      "otf", "Convert a point-spread function to its optical transfer function",
      "PSF is a picture (its colour channels become planes) or a .npy file; it is scaled to a sum of 1 and "
      "its\n"
      "centre is moved to the origin. OUT tells what is written: NAME.npy the complex planes, NAME.svg a "
      "plot of\n"
      "the radial modulation transfer, a picture the magnitude (origin in the middle, logarithmic over five\n"
      "decades), and a NAME without extension all three.\n\n"
      "Examples:\n"
      "  kyvmath otf star.png lens\n"
      "  kyvmath otf --airy 3.5 --psf-size 512x512 airy.svg",
      [=, &common] { return run_otf(common, *options); });
  command.positionals(options->files, "[PSF] OUT", 1, 2);
  add_psf_options(command, options->psf);
  command.flag("--single", options->single, "Transform in single precision");
}

void add_psf_command(CommandLine& program, const CommonOptions& common) {
  auto options = std::make_shared<PsfCommandOptions>();
  Arguments command =
      program.command("psf", "Convert an optical transfer function back to its point-spread function",
                      "OTF is a .npy file as 'kyvmath otf' writes it. The centre is moved back to the "
                      "middle. OUT is NAME.npy\n"
                      "(real values) or a picture (16 bits, the peak white; negative values black).\n\n"
                      "Example:\n"
                      "  kyvmath psf lens.npy lens-psf.png",
                      [=, &common] { return run_psf(common, *options); });
  command.positional("otf", options->otf, "The transfer function", "FILE.npy");
  command.positional("out", options->output, "What to write", "OUT");
  command.flag("--single", options->single, "Transform in single precision");
}

}  // namespace kyv::host
