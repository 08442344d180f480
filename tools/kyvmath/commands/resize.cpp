#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <vector>

#include "../error.h"
#include "../geometry.h"
#include "../image_io.h"
#include "../modes.h"
#include "../progress.h"
#include "commands.h"
#include "load.h"

namespace kyv::host {
namespace {

struct ResizeOptions {
  std::vector<std::string> files;
  std::string out_folder;
  std::string size;
  std::string scale;
  std::string fit;
  std::string region;
  std::string mode = "lanczos";
  std::string format;
  int jobs = 0;
  bool premultiply = false;
  EncodeOptions encode;
};

struct Job {
  std::filesystem::path input;
  std::filesystem::path output;
};

struct Outcome {
  std::string error;
  Size source;
  Size destination;
  PixelFormat format;
  double library_seconds = 0;
  double total_seconds = 0;
};

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Target target_of(const ResizeOptions& options) {
  Target target;
  if (!options.size.empty()) target.size = parse_size(options.size, "--size");
  if (!options.scale.empty()) target.scale = parse_scale(options.scale, "--scale");
  if (!options.fit.empty()) target.fit = parse_size(options.fit, "--fit");
  if (!options.region.empty()) target.region = parse_rectangle(options.region, "--region");
  const int given = target.size.has_value() + target.scale.has_value() + target.fit.has_value();
  if (given != 1) throw UsageError("say the size of the result with one of --size, --scale and --fit");
  return target;
}

Mode mode_of(const std::string& name) {
  return *std::ranges::find(kModes, std::string_view(name), &Mode::name);
}

std::vector<Job> jobs_of(const ResizeOptions& options) {
  if (options.out_folder.empty()) {
    if (options.files.size() != 2) {
      throw UsageError("give one input and one output file, or several inputs and --out FOLDER");
    }
    const Job job{to_path(options.files[0]), to_path(options.files[1])};
    type_from_name(job.output);
    return {job};
  }
  const auto folder = to_path(options.out_folder);
  std::vector<Job> jobs;
  std::map<std::filesystem::path, std::filesystem::path> writers;
  for (const std::string& file : options.files) {
    Job job{to_path(file), folder / to_path(file).filename()};
    if (!options.format.empty()) job.output.replace_extension(options.format);
    const auto [earlier, is_new] = writers.emplace(job.output, job.input);
    if (!is_new) {
      throw UsageError(display(job.input) + " and " + display(earlier->second) + " would both become " +
                       display(job.output));
    }
    jobs.push_back(job);
  }
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);
  if (failure) throw UsageError(display(folder) + ": cannot be created: " + failure.message());
  return jobs;
}

class Resizer {
 public:
  Resizer(const Library& library, const ResizeOptions& options)
      : library_(library), options_(options), target_(target_of(options)), mode_(mode_of(options.mode)) {}

  Outcome run(const Job& job) const {
    const auto start = std::chrono::steady_clock::now();
    Outcome outcome;
    try {
      resize(job, outcome);
    } catch (const Error& error) {
      outcome.error = error.what();
    } catch (const std::exception& error) {
      outcome.error = display(job.input) + ": " + error.what();
    }
    outcome.total_seconds = seconds_since(start);
    return outcome;
  }

 private:
  void resize(const Job& job, Outcome& outcome) const {
    const FileType type = type_from_name(job.output);
    Image source = read_image(job.input);
    Image destination = resized(job, source, type, outcome);
    source = Image();
    write_image(job.output, destination, options_.encode);
  }

  Image resized(const Job& job, Image& source, FileType type, Outcome& outcome) const {
    try {
      outcome.source = {source.width(), source.height()};
      outcome.format = source.format();
      check_storable(source.format(), type);
      const Rectangle region = region_of(target_, outcome.source);
      outcome.destination = destination_of(target_, {region.width, region.height});
      check_mode(region, outcome.destination);
      Image destination(outcome.destination.width, outcome.destination.height, source.format());
      destination.metadata = source.metadata;

      const bool premultiplying =
          options_.premultiply && source.format().channels == 4 && !source.metadata.premultiplied;
      if (premultiplying) premultiply(source);
      const auto start = std::chrono::steady_clock::now();
      library_.resize(mode_.value, source, region, destination);
      outcome.library_seconds = seconds_since(start);
      if (premultiplying) unpremultiply(destination);
      return destination;
    } catch (const Error& error) {
      throw Error(display(job.input) + ": " + error.what());
    }
  }

  void check_mode(const Rectangle& region, Size destination) const {
    if (mode_.value != KYVMATH_SUPER) return;
    if (destination.width <= region.width && destination.height <= region.height) return;
    throw Error("mode super only reduces, and " + std::to_string(region.width) + "x" +
                std::to_string(region.height) + " to " + std::to_string(destination.width) + "x" +
                std::to_string(destination.height) + " enlarges; use lanczos, cubic or linear");
  }

  const Library& library_;
  const ResizeOptions& options_;
  const Target target_;
  const Mode mode_;
};

std::string line_of(const Job& job, const Outcome& outcome, const std::string& mode) {
  if (!outcome.error.empty()) return "kyvmath: " + outcome.error;
  char figures[160];
  std::snprintf(figures, sizeof figures, "  %dx%d -> %dx%d  %s  %s  %.3f s", outcome.source.width,
                outcome.source.height, outcome.destination.width, outcome.destination.height,
                describe(outcome.format).c_str(), mode.c_str(), outcome.total_seconds);
  return display(job.input) + " -> " + display(job.output) + figures;
}

Json json_of(const Job& job, const Outcome& outcome, const std::string& mode) {
  Json result;
  result["input"] = display(job.input);
  result["output"] = display(job.output);
  result["ok"] = outcome.error.empty();
  if (!outcome.error.empty()) {
    result["error"] = outcome.error;
    return result;
  }
  result["source"] = {{"width", outcome.source.width}, {"height", outcome.source.height}};
  result["destination"] = {{"width", outcome.destination.width}, {"height", outcome.destination.height}};
  result["channels"] = outcome.format.channels;
  result["bits"] = outcome.format.bits;
  result["mode"] = mode;
  result["library_seconds"] = outcome.library_seconds;
  result["seconds"] = outcome.total_seconds;
  return result;
}

ExitStatus run_resize(const CommonOptions& common, const ResizeOptions& options) {
  const std::vector<Job> jobs = jobs_of(options);
  target_of(options);
  const Library library = load_library(common);
  const Resizer resizer(library, options);

  std::vector<Outcome> outcomes(jobs.size());
  std::atomic<std::size_t> next{0};
  {
    Progress progress(static_cast<int>(jobs.size()));
    const int processors = static_cast<int>(platform::processor_count());
    const int threads =
        std::min<int>(options.jobs > 0 ? options.jobs : processors, static_cast<int>(jobs.size()));
    platform::run_on_threads(threads, [&] {
      for (std::size_t i = next++; i < jobs.size(); i = next++) {
        outcomes[i] = resizer.run(jobs[i]);
        const bool failed = !outcomes[i].error.empty();
        progress.finish_one(common.json && !failed ? "" : line_of(jobs[i], outcomes[i], options.mode),
                            failed);
      }
    });
  }

  if (common.json) {
    Json results = Json::array();
    for (std::size_t i = 0; i < jobs.size(); ++i)
      results.push_back(json_of(jobs[i], outcomes[i], options.mode));
    std::printf("%s\n", results.dump(2).c_str());
  }
  const bool all_good = std::ranges::all_of(outcomes, [](const Outcome& o) { return o.error.empty(); });
  return all_good ? kSuccess : kSomeFailed;
}

}  // namespace

void add_resize_command(CLI::App& app, const CommonOptions& common, Action& action) {
  auto options = std::make_shared<ResizeOptions>();
  CLI::App* command = app.add_subcommand("resize", "Resize pictures");
  command->footer(
      "Bit depth, channels, ICC profile and resolution are kept. Alpha is resampled as an ordinary fourth\n"
      "channel; --premultiply weights colour by it, which avoids dark or coloured fringes.\n\n"
      "Examples:\n"
      "  kyvmath resize photo.tif small.tif --scale 25%\n"
      "  kyvmath resize photo.jpg detail.png --region 800,600,320,240 --size 1280x960 --mode cubic\n"
      "  kyvmath resize *.tif --out web --format jpg --fit 1600x1200 --jobs 4");
  command->add_option("files", options->files, "IN OUT, or several inputs with --out")->required();
  command
      ->add_option("--out", options->out_folder, "Write every result to this folder, under its input's name")
      ->type_name("FOLDER");
  CLI::Option* size = command->add_option("--size", options->size, "Size of the result")->type_name("WxH");
  CLI::Option* scale =
      command->add_option("--scale", options->scale, "Factor for both sides: 0.25 or 25%")->type_name("F");
  CLI::Option* fit =
      command->add_option("--fit", options->fit, "Largest size within this box, proportions kept")
          ->type_name("WxH");
  size->excludes(scale)->excludes(fit);
  scale->excludes(fit);
  command->add_option("--region", options->region, "Resize this part of the picture only")
      ->type_name("X,Y,W,H");
  std::vector<std::string> modes;
  std::string description = "How pixels are made:";
  for (const Mode& mode : kModes) {
    modes.emplace_back(mode.name);
    description += "\n  " + std::string(mode.name) + ": " + std::string(mode.description);
  }
  command->add_option("--mode", options->mode, description)
      ->check(CLI::IsMember(modes))
      ->type_name("MODE")
      ->capture_default_str();
  command->add_flag("--premultiply", options->premultiply,
                    "Multiply colour by alpha before, divide it out after");
  command->add_option("--format", options->format, "With --out: file type of the results")
      ->check(CLI::IsMember({"png", "tif", "jpg"}))
      ->type_name("png|tif|jpg");
  command->add_option("--quality", options->encode.jpeg_quality, "JPEG quality, 1 to 100")
      ->check(CLI::Range(1, 100))
      ->type_name("N")
      ->capture_default_str();
  command->add_option("--jobs", options->jobs, "Pictures worked on at once (default: one per processor)")
      ->check(CLI::Range(1, 256))
      ->type_name("N");
  command->callback(
      [=, &common, &action] { action = [=, &common] { return run_resize(common, *options); }; });
}

}  // namespace kyv::host
