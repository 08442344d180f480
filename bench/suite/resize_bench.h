// The resize cells: timing beside the peers, and comparison of the variants.
#pragma once

#include <vector>

#include "suite/options.h"
#include "suite/result.h"

namespace kyv::bench {

// Prints a line per cell and variant as it goes. Throws std::runtime_error when a request is refused.
std::vector<CellResult> bench_resize(const Options& options, const Machine& machine);

// Runs every chosen cell with every chosen variant into destinations that held other bytes before, and
// compares with the scalar variant's bytes. Returns the number of differing cells, naming each.
int check_resize(const Options& options);

}  // namespace kyv::bench
