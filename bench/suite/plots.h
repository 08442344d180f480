// The results as pictures.
#pragma once

#include <string>
#include <vector>

#include "suite/result.h"

namespace kyv::bench {

// SVG files into an existing folder, for each variant one of every kind that has figures. Throws
// std::runtime_error when a file cannot be written.
void write_plots(const std::vector<CellResult>& results, const std::string& folder);

}  // namespace kyv::bench
