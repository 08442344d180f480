#include <cstdio>

#include "../deconvolution.h"
#include "../error.h"
#include "../geometry.h"
#include "../scanner.h"
#include "batch.h"
#include "load.h"
#include "psf_options.h"

namespace kyv::host {
namespace {

struct FilterOptions {
  BatchOptions batch;
  PsfOptions psf;
  std::string snr = "1000";
  bool single = false;
};

enum class Task { kBlur, kDeblur };

// Nothing for "auto".
std::optional<double> parse_snr(const std::string& text) {
  if (text == "auto") return std::nullopt;
  Scanner scanner(text);
  const double snr = scanner.number().value_or(0);
  if (!scanner.at_end() || !(snr >= 1e-3 && snr <= 1e12)) {
    throw UsageError("--snr: '" + text + "' is neither auto nor a ratio from 0.001 to 1e12");
  }
  return snr;
}

ExitStatus run_filter(const CommonOptions& common, const FilterOptions& options, Task task) {
  const std::optional<double> asked_snr = parse_snr(options.snr);
  const Batch batch(options.batch);
  const ComplexPlanes psf = psf_from(options.psf);
  const Precision precision = options.single ? Precision::kSingle : Precision::kDouble;
  const Library library = load_library(common);
  return batch.run(common.json, false, 1, [&](const Job&, Image input, bool dry_run, Result& result) {
    result.figures = text_of({input.width(), input.height()}) + "  " + describe(input.format()) + "  " +
                     describe(options.psf);
    result.json["psf"] = describe(options.psf);
    double snr = 0;
    if (task == Task::kDeblur) {
      snr = asked_snr ? *asked_snr : estimated_snr(input);
      result.json["snr"] = snr;
      char text[32];
      std::snprintf(text, sizeof text, "  snr %.4g", snr);
      if (!asked_snr) result.figures += text;
    }
    if (dry_run) return Image();
    return task == Task::kBlur ? blur(library, input, psf, precision)
                               : deblur(library, input, psf, snr, precision);
  });
}

void add_filter_command(CommandLine& program, const CommonOptions& common, const std::string& name,
                        const std::string& description, const std::string& footer, Task task) {
  auto options = std::make_shared<FilterOptions>();
  Arguments command =
      program.command(name, description, footer, [=, &common] { return run_filter(common, *options, task); });
  if (task == Task::kDeblur) {
    command.text(
        "--snr", options->snr,
        "Ratio of signal to noise power: more sharpens more and shows more noise; 'auto' estimates it", "X");
  }
  command.flag("--single", options->single, "Transform in single precision: half the scratch memory");
  command.group("Point-spread function");
  command.text("--psf", options->psf.file, "A picture or .npy file of the function", "FILE");
  add_psf_options(command, options->psf);
  add_batch_options(command, options->batch);
}

}  // namespace

void add_blur_command(CommandLine& program, const CommonOptions& common) {
  add_filter_command(program, common, "blur", "Show a picture as it is seen through a point-spread function",
                     "Example:\n  kyvmath blur chart.png soft.png --disk 3", Task::kBlur);
}

void add_deblur_command(CommandLine& program, const CommonOptions& common) {
  add_filter_command(program, common, "deblur",
                     "Sharpen a picture whose point-spread function is known (Wiener)",
                     "Examples:\n  kyvmath deblur soft.tif sharp.tif --psf star.png --snr 2000\n"
                     "  kyvmath deblur *.jpg --suffix -sharp --motion 9,20 --snr auto",
                     Task::kDeblur);
}

}  // namespace kyv::host
