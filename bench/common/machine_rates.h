// What this processor can do at best: the roofline that kernels are held against.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "common/timing.h"

namespace kyv::bench {

// Multiply-adds per second of one instruction set, all of its lanes counted, in registers alone.
struct ArithmeticRate {
  std::string variant;  // as in the dispatch table: "scalar", "sse2", "avx2", ...
  double float_rate;
  double double_rate;
};

// The rates of every variant that this processor has, best first.
std::vector<ArithmeticRate> measure_arithmetic_rates(const Effort& effort);

// Bytes read plus bytes written per second when `bytes` are copied to another place again and again.
struct CopyRate {
  std::size_t bytes;  // read; as many are written
  double rate;
};

// The best of the ways to copy (the run-time library's, plain stores and streaming stores of the widest
// vectors) at sizes from the first-level cache to main memory, ascending.
std::vector<CopyRate> measure_copy_rates(const Effort& effort);

// The rate for work that reads and writes `traffic` bytes in all: that of the copy of this size, on a
// straight line over the logarithm of the size, constant beyond the ends.
double copy_rate_for(const std::vector<CopyRate>& rates, double traffic);

}  // namespace kyv::bench
