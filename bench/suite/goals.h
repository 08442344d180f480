// What the project wants to reach, held against what a run found.
#pragma once

#include <string>
#include <vector>

#include "suite/result.h"

namespace kyv::bench {

// Which goals a result misses, in words; empty when it misses none.
std::string misses_of(const CellResult& result);

// Geometric means by group and the goals, for one variant's results of one service.
void print_summary(const std::vector<CellResult>& results, Service service, const std::string& variant);

}  // namespace kyv::bench
