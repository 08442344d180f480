#include "compare/comparison.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kyv::bench {
namespace {

constexpr double kSuspicious = 0.04;
constexpr double kSecondEffort = 4.0;

double share_of_differing_bytes(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b) {
  if (a == b) return 0.0;
  std::size_t differing = 0;
  for (std::size_t i = 0; i < a.size(); ++i) differing += a[i] != b[i] ? 1 : 0;
  return static_cast<double>(differing) / static_cast<double>(a.size());
}

double relative_difference(const std::vector<double>& expected, const std::vector<double>& values) {
  if (std::memcmp(expected.data(), values.data(), values.size() * sizeof(double)) == 0) return 0.0;
  double error = 0.0;
  double energy = 0.0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    error += (values[i] - expected[i]) * (values[i] - expected[i]);
    energy += expected[i] * expected[i];
  }
  return std::sqrt(error / energy);
}

void take_times(Compared& result, const std::vector<Timing>& times) {
  result.old_seconds = times[0].minimum();
  result.new_seconds = times[1].minimum();
  result.ratio = result.old_seconds / result.new_seconds;
  result.paired_ratio = paired_ratio(times[0], times[1]);
  result.noise = std::max(times[0].noise(), times[1].noise());
}

}  // namespace

bool Compared::is_slower(double share) const {
  return std::max(ratio, paired_ratio) < 1.0 - std::max(share, noise);
}

void Comparison::time(Compared& result, const Work& old_work, const Work& new_work) const {
  if (!effort_) return;
  const Work works[] = {old_work, new_work};
  take_times(result, time_interleaved(works, *effort_));
  if (!result.is_slower(kSuspicious)) return;
  Effort longer = *effort_;
  longer.seconds *= kSecondEffort;
  longer.min_rounds *= static_cast<int>(kSecondEffort);
  take_times(result, time_interleaved(works, longer));
}

Compared Comparison::resize(const ResizeCell& cell) {
  Compared result;
  result.name = cell.name() + (cell.frame.width == 0 ? "" : " region");
  images_.prepare(cell);
  std::vector<unsigned char>& dst = images_.dst();
  std::fill(dst.begin(), dst.end(), static_cast<unsigned char>(0xA5));
  old_.resize(cell, images_, dst.data());
  const std::vector<unsigned char> expected = dst;
  std::fill(dst.begin(), dst.end(), static_cast<unsigned char>(0x5A));
  new_.resize(cell, images_, dst.data());
  result.difference = share_of_differing_bytes(expected, dst);
  time(
      result, [&] { old_.resize(cell, images_, dst.data()); },
      [&] { new_.resize(cell, images_, dst.data()); });
  return result;
}

Compared Comparison::convert(const ConversionCell& cell) {
  Compared result;
  result.name = cell.name();
  PlaneArrays arrays(cell, Placement::kMalloc);
  if (cell.backward) {
    ConversionCell forward = cell;
    forward.backward = false;
    old_.convert(forward, arrays);
    arrays.turn_round();
  }
  old_.convert(cell, arrays);
  const std::vector<double> expected = arrays.result();
  arrays.forget_result();
  new_.convert(cell, arrays);
  result.difference = relative_difference(expected, arrays.result());
  time(
      result, [&] { old_.convert(cell, arrays); }, [&] { new_.convert(cell, arrays); });
  return result;
}

}  // namespace kyv::bench
