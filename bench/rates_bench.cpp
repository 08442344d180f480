// Prints what this machine can do at best.
#include <cstdio>

#include "common/host.h"
#include "common/machine_rates.h"

int main() {
  using namespace kyv::bench;
  const int core = pin_to_core();
  std::printf("%s, core %d, %zu-bit\n", processor_name().c_str(), core, 8 * sizeof(void*));
  for (const ArithmeticRate& rate : measure_arithmetic_rates({})) {
    std::printf("%-7s %6.1f G multiply-adds/s float, %6.1f double\n", rate.variant.c_str(),
                rate.float_rate * 1e-9, rate.double_rate * 1e-9);
  }
  for (const CopyRate& rate : measure_copy_rates({})) {
    std::printf("copy of %6zu KB: %6.1f GB/s read and written\n", rate.bytes >> 10, rate.rate * 1e-9);
  }
}
