#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "../image_io.h"
#include "arguments.h"
#include "report.h"

namespace kyv::host {

// What every command that makes pictures from pictures has in common: how results are named, what may be
// overwritten, how they are encoded, and the work on many files at once.
struct BatchOptions {
  std::vector<std::string> files;
  std::string folder;
  std::string suffix;
  std::string format;
  std::string metadata = "keep";
  std::string background = "white";
  std::string subsampling = "444";
  int quality = 92;
  int jobs = 0;
  bool in_place = false;
  bool no_clobber = false;
  bool dry_run = false;
  bool progressive = false;
  bool no_auto_orient = false;
};

void add_batch_options(Arguments& command, BatchOptions& options);

struct Job {
  std::filesystem::path input;
  std::filesystem::path output;
};

// What one job came to. Each way to report leaves out what it does not show.
struct Result {
  std::string figures;  // after "IN -> OUT": fields that two spaces set apart
  Json json;
};

// Makes the picture of one job from its input, or only tells what it would be like.
using Work = std::function<Image(const Job& job, Image input, bool dry_run, Result& result)>;

// Does the work on all files. Throws UsageError, before anything is read, when names clash or a result would
// overwrite an input that is to be kept. A file that fails is reported and the others go on.
class Batch {
 public:
  explicit Batch(const BatchOptions& options);

  // `always_list`: a single result is a list in JSON, too.
  ExitStatus run(bool json, bool always_list, int threads, const Work& work) const;

 private:
  struct Outcome;
  Outcome run_one(const Job& job, const Work& work) const;
  FileType type_of(const Job& job, FileType of_input) const;

  const BatchOptions& options_;
  EncodeOptions encode_;
  std::vector<Job> jobs_;
};

}  // namespace kyv::host
