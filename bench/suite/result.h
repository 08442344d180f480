// What a run found out about one cell with one kernel variant, and what is made of it.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "common/machine_rates.h"

namespace kyv::bench {

inline constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

struct Machine {
  std::string processor;
  int core;  // -1 when pinning was refused
  std::vector<ArithmeticRate> arithmetic;
  std::vector<CopyRate> copy;

  double float_rate(const std::string& variant) const;
  double double_rate(const std::string& variant) const;
};
Machine measure_machine(int core, const Effort& effort);

enum class Service { kResize, kConversion };

// Ratios above 1 mean that we are the faster one. NaN where there is nothing to compare with.
struct CellResult {
  Service service = Service::kResize;
  std::string name;
  std::string variant;
  std::string workload;  // resize: "A", "B", ...; conversion: "fft"
  std::string kind;      // resize: the filter; conversion: the precision
  std::string format;    // resize: the pixel format; conversion: empty
  double seconds = kUnknown;
  double median = kUnknown;
  double noise = kUnknown;
  double reference_ratio = kUnknown;         // zimg on the same cell; three FFTW executions
  double reference_ratio_median = kUnknown;  // the same, as the median over the rounds
  double stb_ratio = kUnknown;
  double reference_seconds = kUnknown;  // zimg (on box cells its linear filter); one FFTW execution
  std::string best_peer;
  double best_ratio = kUnknown;
  bool best_is_measured = false;  // in this run; else estimated from another machine's figures
  // The best of the peers that do less of the work (conversions: executions and copies, plans at hand) or all
  // of it (resizes: on interleaved pictures). Measured or unknown.
  std::string other_peer;
  double other_ratio = kUnknown;
  double roof_share = kUnknown;     // of the time that the machine needs at the least
  std::string bound;                // what makes up that time: "arithmetic" or "memory"
  double setup_share = kUnknown;    // resize of small pictures: context, buffer and tables in the call's time
  double scalar_ratio = kUnknown;   // the scalar variant in the same run
  double against_ratio = kUnknown;  // the same cell and variant in an earlier run
};

void print_header(Service service);
void print_result(const CellResult& result);

// The results of one service and variant, in their order.
std::vector<CellResult> only(const std::vector<CellResult>& results, Service service,
                             const std::string& variant);

// Fills in against_ratio from the table that write_results left in `folder`; cells it lacks stay unknown.
void compare_with_earlier(std::vector<CellResult>& results, const std::string& folder);

// resize.csv, fft.csv and machine.csv into an existing folder. Throws std::runtime_error when one cannot be
// written.
void write_results(const std::vector<CellResult>& results, const Machine& machine, const std::string& folder);

}  // namespace kyv::bench
