// What lies in fresh memory must not matter to a call's time.
#pragma once

#include "suite/options.h"

namespace kyv::bench {

// Times small resizes of the chosen sets with every chosen variant in work memory that held zeros, ones,
// denormal numbers and not-a-numbers before, and prints how far the four times are apart. Returns how many
// cells are above 5 % and the noise.
int bench_heap(const Options& options);

}  // namespace kyv::bench
