// The resize cells: timing beside the peers, and comparison of the variants.
#pragma once

#include <vector>

#include "cells/images.h"
#include "peers/peers.h"
#include "suite/options.h"
#include "suite/result.h"

namespace kyv::bench {

// Prints a line per cell and variant as it goes. Throws std::runtime_error when a request is refused.
std::vector<CellResult> bench_resize(const Options& options, const Machine& machine,
                                     const peers::Peers& peers);

// One resize of a prepared cell, as the library's export does it. False when it is refused.
bool resize_with(const ResizeCell& cell, Images& images, const runtime::KernelSet& variant);

// Runs every chosen cell with every chosen variant into destinations that held other bytes before, and
// compares with the scalar variant's bytes. Returns the number of differing cells, naming each.
int check_resize(const Options& options);

}  // namespace kyv::bench
