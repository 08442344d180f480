#include <chrono>
#include <cstdio>

#include "../deconvolution.h"
#include "../error.h"
#include "../image_io.h"
#include "commands.h"
#include "load.h"
#include "psf_options.h"

namespace kyv::host {
namespace {

constexpr double kDefaultSnr = 1000;

struct DeblurOptions {
  std::string input;
  std::string output;
  PsfOptions psf;
  double snr = kDefaultSnr;
  bool single = false;
  EncodeOptions encode;
};

enum class Task { kBlur, kDeblur };

ExitStatus run_filter(const CommonOptions& common, const DeblurOptions& options, Task task) {
  const auto start = std::chrono::steady_clock::now();
  const auto input = to_path(options.input);
  const auto output = to_path(options.output);
  const FileType type = type_from_name(output);
  const ComplexPlanes psf = psf_from(options.psf);
  const Image image = read_image(input);
  const Precision precision = options.single ? Precision::kSingle : Precision::kDouble;
  const Library library = load_library(common);

  Image result;
  try {
    check_storable(image.format(), type);
    result = task == Task::kBlur ? blur(library, image, psf, precision)
                                 : deblur(library, image, psf, options.snr, precision);
  } catch (const Error& error) {
    throw Error(display(input) + ": " + error.what());
  }
  write_image(output, result, options.encode);

  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (common.json) {
    Json json{
        {"input", display(input)}, {"output", display(output)}, {"ok", true}, {"psf", describe(options.psf)}};
    if (task == Task::kDeblur) json["snr"] = options.snr;
    json["seconds"] = seconds;
    std::printf("%s\n", json.dump(2).c_str());
  } else {
    std::printf("%s -> %s  %dx%d  %s  %s  %.3f s\n", display(input).c_str(), display(output).c_str(),
                image.width(), image.height(), describe(image.format()).c_str(),
                describe(options.psf).c_str(), seconds);
  }
  return kSuccess;
}

std::shared_ptr<DeblurOptions> add_filter_options(CLI::App& command) {
  auto options = std::make_shared<DeblurOptions>();
  command.add_option("in", options->input, "The picture")->required()->type_name("IN");
  command.add_option("out", options->output, "What to write")->required()->type_name("OUT");
  command.add_option("--psf", options->psf.file, "A picture or .npy file of the function")
      ->type_name("FILE")
      ->group("Point-spread function");
  add_psf_options(command, options->psf);
  command.add_flag("--single", options->single, "Transform in single precision: half the scratch memory");
  command.add_option("--quality", options->encode.jpeg_quality, "JPEG quality, 1 to 100")
      ->check(CLI::Range(1, 100))
      ->type_name("N")
      ->capture_default_str();
  return options;
}

}  // namespace

void add_blur_command(CLI::App& app, const CommonOptions& common, Action& action) {
  CLI::App* command =
      app.add_subcommand("blur", "Show a picture as it is seen through a point-spread function");
  const auto options = add_filter_options(*command);
  command->footer("Example:\n  kyvmath blur chart.png soft.png --disk 3");
  command->callback(
      [=, &common, &action] { action = [=, &common] { return run_filter(common, *options, Task::kBlur); }; });
}

void add_deblur_command(CLI::App& app, const CommonOptions& common, Action& action) {
  CLI::App* command =
      app.add_subcommand("deblur", "Sharpen a picture whose point-spread function is known (Wiener)");
  const auto options = add_filter_options(*command);
  command
      ->add_option("--snr", options->snr,
                   "Ratio of signal to noise power: more sharpens more and shows more noise")
      ->check(CLI::Range(1e-3, 1e12))
      ->type_name("X")
      ->capture_default_str();
  command->footer("Example:\n  kyvmath deblur soft.tif sharp.tif --psf star.png --snr 2000");
  command->callback([=, &common, &action] {
    action = [=, &common] { return run_filter(common, *options, Task::kDeblur); };
  });
}

}  // namespace kyv::host
