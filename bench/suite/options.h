// The command line of the benchmark program.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cells/conversion_cell.h"
#include "common/name_filter.h"
#include "common/timing.h"
#include "peers/peers.h"
#include "runtime/dispatch.h"

namespace kyv::bench {

struct Options {
  NameFilter filter;                                // cells whose name it finds are run
  std::vector<const runtime::KernelSet*> variants;  // at least one, all of them run on this processor
  Effort effort;
  bool peers = true;
  std::string peer_folder;                                // peers as libraries; empty: none
  std::string cells = "standard,own";                     // sets of resizes, as cells_of_sets
  std::string conversions = "standard";                   // "random" or sizes
  std::vector<Placement> placements{Placement::kMalloc};  // of the arrays of conversions
  bool cold = false;    // the destination is not in the caches when a call begins
  bool heap = false;    // only time calls whose work memory held other bytes before
  bool check = false;   // compare the results of every variant with those of the scalar one
  bool timing = true;   // false: check only
  int core = -1;        // as pin_to_core
  std::string data;     // folder of the peers' figures
  std::string csv;      // folder for tables; empty: none
  std::string plots;    // folder for plots; empty: none
  std::string against;  // folder with the tables of an earlier run; empty: none
};

// The peers that a variant is compared with; of all chosen ones, the highest.
peers::Level level_of(const runtime::KernelSet& variant);
peers::Level highest_level(const Options& options);

// Empty when help was asked for and printed. Throws std::invalid_argument with a message for the user.
std::optional<Options> parse_options(int argc, char** argv);

}  // namespace kyv::bench
