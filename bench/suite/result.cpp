#include "suite/result.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <map>
#include <stdexcept>

#include "common/csv.h"
#include "common/host.h"
#include "suite/goals.h"

namespace kyv::bench {
namespace {

const ArithmeticRate& rate_of(const std::vector<ArithmeticRate>& rates, const std::string& variant) {
  const auto found =
      std::find_if(rates.begin(), rates.end(), [&](const ArithmeticRate& r) { return r.variant == variant; });
  if (found == rates.end()) throw std::runtime_error("no rate for variant " + variant);
  return *found;
}

const char* file_of(Service service) { return service == Service::kResize ? "/resize.csv" : "/fft.csv"; }

void write_table(const std::vector<CellResult>& results, Service service, const std::string& folder) {
  const bool resize = service == Service::kResize;
  CsvTable table({"cell",
                  "variant",
                  "ms",
                  "median_ms",
                  "noise",
                  resize ? "zimg_ms" : "fftw_ms",
                  resize ? "times_zimg" : "times_3_fftw",
                  "median_ratio",
                  "times_stb",
                  "best_peer",
                  "times_best_peer",
                  "measured",
                  resize ? "interleaved_peer" : "execution_peer",
                  resize ? "times_interleaved_peer" : "times_execution_peer",
                  "roof_share",
                  "bound",
                  "setup_share",
                  "times_scalar",
                  "speed_against",
                  "missed"});
  for (const CellResult& r : results) {
    if (r.service != service) continue;
    table.add_row({r.name,
                   r.variant,
                   figure(1e3 * r.seconds),
                   figure(1e3 * r.median),
                   figure(r.noise, 2),
                   figure(1e3 * r.reference_seconds),
                   figure(r.reference_ratio, 3),
                   figure(r.reference_ratio_median, 3),
                   figure(r.stb_ratio, 3),
                   r.best_peer,
                   figure(r.best_ratio, 3),
                   r.best_is_measured ? "yes" : "no",
                   r.other_peer,
                   figure(r.other_ratio, 3),
                   figure(r.roof_share, 3),
                   r.bound,
                   figure(r.setup_share, 3),
                   figure(r.scalar_ratio, 3),
                   figure(r.against_ratio, 3),
                   misses_of(r)});
  }
  table.write(folder + file_of(service));
}

void write_machine(const Machine& machine, const std::string& folder) {
  CsvTable table({"figure", "of", "value", "unit"});
  for (const ArithmeticRate& rate : machine.arithmetic) {
    table.add_row({"float multiply-adds", rate.variant, figure(rate.float_rate * 1e-9), "G/s"});
    table.add_row({"double multiply-adds", rate.variant, figure(rate.double_rate * 1e-9), "G/s"});
  }
  for (const CopyRate& rate : machine.copy) {
    table.add_row({"copy read and written", std::to_string(rate.bytes >> 10) + " KB",
                   figure(rate.rate * 1e-9), "GB/s"});
  }
  table.write(folder + "/machine.csv");
}

}  // namespace

double Machine::float_rate(const std::string& variant) const {
  return rate_of(arithmetic, variant).float_rate;
}
double Machine::double_rate(const std::string& variant) const {
  return rate_of(arithmetic, variant).double_rate;
}

Machine measure_machine(int core, const Effort& effort) {
  return {processor_name(), core, measure_arithmetic_rates(effort), measure_copy_rates(effort)};
}

std::vector<CellResult> only(const std::vector<CellResult>& results, Service service,
                             const std::string& variant) {
  std::vector<CellResult> chosen;
  std::copy_if(results.begin(), results.end(), std::back_inserter(chosen),
               [&](const CellResult& r) { return r.service == service && r.variant == variant; });
  return chosen;
}

void print_header(Service service) {
  std::printf(
      "\n%-40s %-7s %10s %6s %8s %6s %8s %-22s %7s %-22s %6s %6s  %s\n", "cell", "variant",
      service == Service::kResize ? "ms" : "us", "noise", service == Service::kResize ? "x zimg" : "x FFTW",
      "x stb", "x best", "best peer", service == Service::kResize ? "x inter" : "x exec",
      service == Service::kResize ? "best interleaved" : "best execution", "roof", "set-up", "missed goals");
}

void print_result(const CellResult& r) {
  const double unit = r.service == Service::kResize ? 1e3 : 1e6;
  const std::string setup = std::isnan(r.setup_share) ? "-" : figure(100 * r.setup_share, 2) + '%';
  const auto ratio = [](double value) { return std::isnan(value) ? std::string("-") : figure(value, 3); };
  std::printf("%-40s %-7s %10.4f %5.1f%% %8s %6s %7s%c %-22s %7s %-22s %5.1f%%%c %6s %s\n", r.name.c_str(),
              r.variant.c_str(), unit * r.seconds, 100 * r.noise, ratio(r.reference_ratio).c_str(),
              ratio(r.stb_ratio).c_str(), ratio(r.best_ratio).c_str(), r.best_is_measured ? ' ' : '~',
              r.best_peer.c_str(), ratio(r.other_ratio).c_str(), r.other_peer.c_str(), 100 * r.roof_share,
              r.bound.empty() ? ' ' : r.bound[0], setup.c_str(), misses_of(r).c_str());
  std::fflush(stdout);
}

void compare_with_earlier(std::vector<CellResult>& results, const std::string& folder) {
  std::map<std::string, double> earlier;
  for (const Service service : {Service::kResize, Service::kConversion}) {
    for (const TableRow& row : read_csv(folder + file_of(service))) {
      earlier[row.at("cell") + ' ' + row.at("variant")] = 1e-3 * std::stod(row.at("ms"));
    }
  }
  for (CellResult& r : results) {
    const auto found = earlier.find(r.name + ' ' + r.variant);
    if (found != earlier.end()) r.against_ratio = found->second / r.seconds;
  }
}

void write_results(const std::vector<CellResult>& results, const Machine& machine,
                   const std::string& folder) {
  write_table(results, Service::kResize, folder);
  write_table(results, Service::kConversion, folder);
  write_machine(machine, folder);
}

}  // namespace kyv::bench
