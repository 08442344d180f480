// Two builds of the library, cell by cell.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cells/conversion_cell.h"
#include "cells/resize_cell.h"
#include "common/timing.h"
#include "compare/build.h"

namespace kyv::bench {

// What one cell showed. Ratios above 1: the new build is the faster one.
struct Compared {
  std::string name;
  double old_seconds = 0.0;
  double new_seconds = 0.0;
  double ratio = 1.0;         // of the least times
  double paired_ratio = 1.0;  // median over the rounds
  double noise = 0.0;         // the larger one of the two builds' (Timing::noise)
  double difference =
      0.0;  // resizes: share of the bytes that differ; conversions: relative, root mean square

  // Slower by more than `share` and by more than the noise, in the least times and in the median round.
  bool is_slower(double share) const;
};

class Comparison {
 public:
  // Without an effort the results are compared and nothing is timed.
  Comparison(const Build& old_build, const Build& new_build, const std::optional<Effort>& effort)
      : old_(old_build), new_(new_build), effort_(effort) {}

  // Throw std::runtime_error when a build refuses.
  Compared resize(const ResizeCell& cell);
  Compared convert(const ConversionCell& cell);

 private:
  // Cells that look slower are timed again, longer, and the second figure counts.
  void time(Compared& result, const Work& old_work, const Work& new_work) const;

  const Build& old_;
  const Build& new_;
  std::optional<Effort> effort_;
  Images images_;
};

}  // namespace kyv::bench
