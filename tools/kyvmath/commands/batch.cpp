#include "batch.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <new>

#include "../error.h"
#include "../files.h"
#include "../progress.h"

namespace kyv::host {
namespace {

namespace fs = std::filesystem;

// A path by which two names of one file are found to be the same.
fs::path identity(const fs::path& file) {
  if (is_standard_stream(file)) return file;
  std::error_code failure;
  const fs::path resolved = fs::weakly_canonical(file, failure);
  return failure ? file : resolved;
}

fs::path named_output(const BatchOptions& options, const fs::path& input) {
  if (options.in_place) return input;
  fs::path name = input.stem();
  name += to_path(options.suffix);
  name += options.format.empty() ? input.extension() : to_path("." + options.format);
  return options.folder.empty() ? input.parent_path() / name : to_path(options.folder) / name;
}

bool names_outputs(const BatchOptions& options) {
  return options.in_place || !options.folder.empty() || !options.suffix.empty();
}

std::vector<Job> jobs_of(const BatchOptions& options) {
  if (!names_outputs(options)) {
    if (options.files.size() != 2) {
      throw UsageError(
          "give one input and one output file, or several inputs and --out FOLDER, --suffix or "
          "--in-place");
    }
    return {{to_path(options.files[0]), to_path(options.files[1])}};
  }
  std::vector<Job> jobs;
  for (const std::string& file : options.files) {
    const fs::path input = to_path(file);
    if (is_standard_stream(input)) throw UsageError("-: standard input goes to one named output, or to -");
    jobs.push_back({input, named_output(options, input)});
  }
  return jobs;
}

void check_names(const BatchOptions& options, const std::vector<Job>& jobs) {
  if (options.in_place && (!options.format.empty() || !options.folder.empty() || !options.suffix.empty())) {
    throw UsageError("--in-place keeps name and type: leave out --out, --suffix and --format");
  }
  std::map<fs::path, const Job*> readers;
  for (const Job& job : jobs) readers.emplace(identity(job.input), &job);
  std::map<fs::path, const Job*> writers;
  for (const Job& job : jobs) {
    const fs::path output = identity(job.output);
    const auto [earlier, is_new] = writers.emplace(output, &job);
    if (!is_new) {
      throw UsageError(display(job.input) + " and " + display(earlier->second->input) +
                       " would both become " + display(job.output) +
                       "; work on them in two runs, with another --out or --suffix");
    }
    const bool is_input = readers.contains(output) && !is_standard_stream(output);
    if (is_input && !options.in_place) {
      throw UsageError(display(job.output) +
                       ": is an input, too; --in-place replaces inputs, --out and --suffix "
                       "give results other names");
    }
  }
}

EncodeOptions encode_options(const BatchOptions& options) {
  EncodeOptions encode;
  encode.jpeg_quality = options.quality;
  encode.progressive = options.progressive;
  encode.background = parse_colour(options.background, "--background");
  if (options.subsampling == "422") encode.subsampling = Subsampling::k422;
  if (options.subsampling == "420") encode.subsampling = Subsampling::k420;
  if (options.metadata == "icc") encode.metadata = Keep::kIccProfile;
  if (options.metadata == "strip") encode.metadata = Keep::kNothing;
  return encode;
}

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

struct Batch::Outcome {
  std::string error;
  std::string line;
  Json json;
};

void add_batch_options(Arguments& command, BatchOptions& options) {
  command.positionals(options.files, "IN OUT ('-': a pipe), or several inputs", 1, 0);
  command.group("Results");
  command.text("--out", options.folder, "Write every result to this folder, under its input's name",
               "FOLDER");
  command.text("--suffix", options.suffix, "Add this to the names of results: -small makes photo-small.jpg",
               "TEXT");
  command.flag("--in-place", options.in_place, "Replace every input by its result");
  command.flag("--no-clobber", options.no_clobber, "Leave files alone that exist already");
  command.flag("--dry-run", options.dry_run, "Only tell what would be done");
  command.choice("--format", options.format, "File type of the results (default: that of the name)",
                 {"png", "tif", "jpg"});
  command.choice("--metadata", options.metadata,
                 "Keep EXIF, XMP and ICC profile, the ICC profile alone, or nothing",
                 {"keep", "icc", "strip"});
  command.flag("--no-auto-orient", options.no_auto_orient,
               "Do not turn pictures as their orientation asks for");
  command.text("--background", options.background, "Colour that shows where pictures end or are transparent",
               "COLOUR");
  command.integer("--quality", options.quality, "JPEG quality, 1 to 100", "N", 1, 100);
  command.choice("--subsampling", options.subsampling,
                 "Resolution of colour in JPEG files: full, half, quarter", {"444", "422", "420"});
  command.flag("--progressive", options.progressive, "Write progressive JPEG files");
  command.group("");
}

Batch::Batch(const BatchOptions& options)
    : options_(options), encode_(encode_options(options)), jobs_(jobs_of(options)) {
  check_names(options, jobs_);
  if (!names_outputs(options) && options.format.empty() && jobs_[0].output.has_extension()) {
    type_from_name(jobs_[0].output);
  }
  if (options.folder.empty() || options.dry_run) return;
  std::error_code failure;
  fs::create_directories(to_path(options.folder), failure);
  if (failure) throw UsageError(options.folder + ": cannot be created: " + failure.message());
}

FileType Batch::type_of(const Job& job, FileType of_input) const {
  if (!options_.format.empty()) return type_from_name("result." + options_.format);
  if (options_.in_place || !job.output.has_extension()) return of_input;
  return type_from_name(job.output);
}

Batch::Outcome Batch::run_one(const Job& job, const Work& work) const {
  const auto start = std::chrono::steady_clock::now();
  const std::string names = display(job.input) + " -> " + display(job.output);
  Outcome outcome;
  outcome.json = {{"input", display(job.input)}, {"output", display(job.output)}, {"ok", true}};
  try {
    std::error_code ignored;
    if (options_.no_clobber && fs::exists(job.output, ignored) && !is_stream(job.output)) {
      outcome.json["skipped"] = true;
      outcome.line = names + "  exists already, left as it is";
      return outcome;
    }
    FileType type{};
    Image input = read_image(job.input, !options_.no_auto_orient, &type);
    type = type_of(job, type);
    Result result;
    Image output;
    try {
      output = work(job, std::move(input), options_.dry_run, result);
    } catch (const Error& error) {
      throw Error(display(job.input) + ": " + error.what());
    }
    if (!options_.dry_run) write_image(job.output, type, std::move(output), encode_);
    const double seconds = seconds_since(start);
    outcome.json.update(result.json);
    outcome.json["seconds"] = seconds;
    char time[32];
    std::snprintf(time, sizeof time, "  %.3f s", seconds);
    outcome.line = names + "  " + result.figures + (options_.dry_run ? "  not written" : time);
  } catch (const std::bad_alloc&) {
    outcome.error = display(job.input) + ": not enough memory";
  } catch (const std::exception& error) {
    const bool names_file = dynamic_cast<const Error*>(&error) != nullptr;
    outcome.error = (names_file ? "" : display(job.input) + ": ") + error.what();
  }
  if (!outcome.error.empty()) {
    outcome.json = {{"input", display(job.input)}, {"output", display(job.output)}, {"ok", false}};
    outcome.json["error"] = outcome.error;
    outcome.line = "kyvmath: " + outcome.error;
  }
  return outcome;
}

ExitStatus Batch::run(bool json, bool always_list, int threads, const Work& work) const {
  const bool to_stream = is_stream(jobs_[0].output);
  if (json && to_stream) throw UsageError("--json: standard output cannot hold the picture and its report");
  std::vector<Outcome> outcomes(jobs_.size());
  std::atomic<std::size_t> next{0};
  {
    Progress progress(static_cast<int>(jobs_.size()));
    platform::run_on_threads(std::min(threads, static_cast<int>(jobs_.size())), [&] {
      for (std::size_t i = next++; i < jobs_.size(); i = next++) {
        outcomes[i] = run_one(jobs_[i], work);
        const bool failed = !outcomes[i].error.empty();
        progress.finish_one((json || to_stream) && !failed ? "" : outcomes[i].line, failed);
      }
    });
  }
  if (json) {
    Json list = Json::array();
    for (const Outcome& outcome : outcomes) list.push_back(outcome.json);
    print_json(list.size() == 1 && !always_list ? list[0] : list);
  }
  const bool all_good = std::ranges::all_of(outcomes, [](const Outcome& o) { return o.error.empty(); });
  return all_good ? kSuccess : kSomeFailed;
}

}  // namespace kyv::host
