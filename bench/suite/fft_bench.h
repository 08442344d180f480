// The conversions: whole calls of three planes beside FFTW's executions, and comparison of the variants.
#pragma once

#include <vector>

#include "peers/peers.h"
#include "suite/options.h"
#include "suite/result.h"

namespace kyv::bench {

// Prints a line per row and variant as it goes. Throws std::runtime_error when a conversion is refused.
std::vector<CellResult> bench_conversion(const Options& options, const Machine& machine,
                                         const peers::Peers& peers);

// Runs every chosen row with every chosen variant twice and compares with the scalar variant's values:
// the same bits both times, and a relative error (root mean square) within the stated one. Returns the
// number of rows that fail, naming each.
int check_conversion(const Options& options);

}  // namespace kyv::bench
