#include "cells/cell_sets.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>

namespace kyv::bench {
namespace {

constexpr int kModes[] = {1, 2, 4, 16, 8};
constexpr int kBits[] = {8, 16};
constexpr int kChannels[] = {1, 3, 4};

struct Size {
  int src_width;
  int src_height;
  int dst_width;
  int dst_height;
};

constexpr Size kRatios[] = {
    {2400, 1800, 800, 600},  {2100, 1400, 900, 600},   {2000, 1500, 1869, 1402}, {1200, 800, 1800, 1200},
    {500, 400, 2000, 1600},  {100, 75, 1600, 1200},    {1921, 1081, 777, 555},   {3000, 2000, 1000, 2000},
    {3000, 2000, 3000, 700}, {1000, 1000, 1000, 2500}, {1000, 1000, 2500, 1000},
};
constexpr Size kRegion = {1501, 1003, 750, 500};
constexpr Frame kRegionFrame = {.width = 4000, .height = 3000, .x = 517, .y = 311};

constexpr Size kThumbnails[] = {
    {4000, 3000, 667, 500}, {4000, 3000, 400, 300}, {4000, 3000, 200, 150}, {4000, 3000, 67, 50},
    {6000, 4000, 750, 500}, {6000, 4000, 400, 267}, {6000, 4000, 150, 100},
};

constexpr Size kSmall[] = {
    {16, 16, 24, 24}, {16, 16, 8, 8},     {24, 24, 64, 64},  {32, 32, 48, 48},   {32, 32, 20, 20},
    {64, 64, 32, 32}, {64, 64, 128, 128}, {100, 60, 37, 41}, {128, 128, 48, 48}, {128, 128, 96, 96},
};

constexpr Size kSizes[] = {
    {1000, 752, 250, 188},       {1000, 752, 800, 600},    {2000, 1504, 500, 376},
    {2000, 1504, 1600, 1200},    {4000, 3000, 1000, 750},  {4000, 3000, 3200, 2400},
    {8000, 6000, 2000, 1500},    {8000, 6000, 6400, 4800}, {16000, 12000, 4000, 3000},
    {16000, 12000, 12800, 9600},
};
constexpr int kSizeModes[] = {2, 16};

bool enlarges(const Size& size) {
  return size.dst_width > size.src_width || size.dst_height > size.src_height;
}

ResizeCell make_cell(const std::string& workload, const Size& size, int bits, int channels, int mode) {
  ResizeCell cell;
  cell.workload = workload;
  cell.format = std::to_string(bits);
  cell.format += "uC";
  cell.format += std::to_string(channels);
  cell.filter = filter_name(mode);
  cell.mode = mode;
  cell.src_width = size.src_width;
  cell.src_height = size.src_height;
  cell.dst_width = size.dst_width;
  cell.dst_height = size.dst_height;
  cell.channels = channels;
  cell.bits = bits;
  return cell;
}

// Every format of one size; without the filters that refuse it.
template <class Modes>
void add_size(std::vector<ResizeCell>& cells, const std::string& workload, const Size& size,
              const Modes& modes) {
  for (const int bits : kBits) {
    for (const int channels : kChannels) {
      for (const int mode : modes) {
        if (mode != 8 || !enlarges(size)) cells.push_back(make_cell(workload, size, bits, channels, mode));
      }
    }
  }
}

void add_ratios(std::vector<ResizeCell>& cells) {
  for (const Size& size : kRatios) add_size(cells, "R", size, kModes);
  const std::size_t first_region = cells.size();
  add_size(cells, "R", kRegion, kModes);
  for (std::size_t i = first_region; i < cells.size(); ++i) cells[i].frame = kRegionFrame;
}

void add_set(std::vector<ResizeCell>& cells, const std::string& name, const std::string& folder) {
  const auto append = [&cells](const std::vector<ResizeCell>& more) {
    cells.insert(cells.end(), more.begin(), more.end());
  };
  if (name == "standard") return append(read_standard_cells(folder));
  if (name == "own") return append(read_own_cells(folder));
  if (name == "ratios") return add_ratios(cells);
  if (name == "thumbnails") {
    for (const Size& size : kThumbnails) add_size(cells, "T", size, kModes);
  } else if (name == "small") {
    for (const Size& size : kSmall) add_size(cells, "P", size, kModes);
  } else if (name == "sizes") {
    for (const Size& size : kSizes) add_size(cells, "Z", size, kSizeModes);
  } else {
    throw std::invalid_argument("no set of cells '" + name + "'");
  }
}

// The generators of the standard library are the same everywhere, its distributions are not.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}

  double unit() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }
  double log_between(double low, double high) { return low * std::exp(unit() * std::log(high / low)); }
  int below(int n) { return static_cast<int>(unit() * n); }
  template <class T, std::size_t N>
  T one_of(const T (&values)[N]) {
    return values[below(static_cast<int>(N))];
  }

 private:
  std::mt19937_64 engine_;
};

constexpr int kLongestSide = 4000;

struct Axis {
  int src;
  int dst;
};

// Sizes of one axis whose ratio is near `ratio`, neither longer than a picture may be.
Axis random_axis(Random& random, double longer, double ratio) {
  const double shorter = longer / std::max(ratio, 1.0 / ratio);
  const int longest = std::max(1, static_cast<int>(std::lround(longer)));
  const int other = std::max(1, static_cast<int>(std::lround(shorter * (1.0 + 0.002 * random.unit()))));
  return ratio >= 1.0 ? Axis{longest, other} : Axis{other, longest};
}

ResizeCell random_cell(Random& random) {
  const double ratio = random.log_between(1.0 / 16, 60.0);
  const double area = random.log_between(16.0 * 16, 2000.0 * 1500);
  const double aspect = random.log_between(0.5, 2.0);
  const double width = std::min<double>(kLongestSide, std::sqrt(area * aspect));
  const double height = std::min<double>(kLongestSide, std::sqrt(area / aspect));
  const int kind = random.below(6);  // 0: x only, 1: y only, 2: differing, else alike
  const double other = random.log_between(1.0 / 16, 60.0);
  const Axis x = random_axis(random, width, kind == 1 ? 1.0 : ratio);
  const Axis y = random_axis(random, height, kind == 0 ? 1.0 : kind == 2 ? other : ratio);
  const Size size = {x.src, y.src, x.dst, y.dst};
  int mode = random.one_of(kModes);
  if (mode == 8 && enlarges(size)) mode = 16;
  ResizeCell cell = make_cell("X", size, random.one_of(kBits), random.one_of(kChannels), mode);
  if (random.below(4) == 0) {
    const int left = random.below(50);
    const int top = random.below(50);
    cell.frame = {x.src + left + random.below(50), y.src + top + random.below(50), left, top};
  }
  return cell;
}

}  // namespace

std::vector<ResizeCell> cells_of_sets(const std::string& names, const std::string& folder) {
  std::vector<ResizeCell> cells;
  if (names == "none") return cells;
  std::istringstream stream(names);
  for (std::string name; std::getline(stream, name, ',');) add_set(cells, name, folder);
  return cells;
}

std::vector<ResizeCell> random_cells(int count, std::uint64_t seed) {
  Random random(seed);
  std::vector<ResizeCell> cells;
  for (int i = 0; i < count; ++i) cells.push_back(random_cell(random));
  return cells;
}

std::vector<ResizeCell> cells_of_size(const std::string& text) {
  Size size{};
  char rest = 0;
  const int fields = std::sscanf(text.c_str(), "%dx%d:%dx%d%c", &size.src_width, &size.src_height,
                                 &size.dst_width, &size.dst_height, &rest);
  const bool sound =
      fields == 4 && size.src_width > 0 && size.src_height > 0 && size.dst_width > 0 && size.dst_height > 0;
  if (!sound) throw std::invalid_argument("a size is written like 1921x1081:777x555, not " + text);
  std::vector<ResizeCell> cells;
  add_size(cells, "X", size, kModes);
  return cells;
}

std::vector<ConversionCell> conversions_of_sizes(const std::string& sizes) {
  std::vector<ConversionCell> cells;
  std::istringstream stream(sizes);
  for (std::string size; std::getline(stream, size, ',');) {
    ConversionCell cell;
    char rest = 0;
    const int fields = std::sscanf(size.c_str(), "%dx%d%c", &cell.columns, &cell.rows, &rest);
    if (fields != 2 || cell.columns < 1 || cell.rows < 1) {
      throw std::invalid_argument("a conversion's size is written like 640x480, not " + size);
    }
    cells.push_back(cell);
  }
  return cells;
}

std::vector<ConversionCell> random_squares(int count, int primes, std::uint64_t seed) {
  constexpr int shortest = 20;
  constexpr int longest = 1500;
  const auto is_prime = [](int n) {
    int divisor = 2;
    while (divisor * divisor <= n && n % divisor != 0) ++divisor;
    return divisor * divisor > n;
  };
  Random random(seed);
  std::set<int> any;
  while (static_cast<int>(any.size()) < count) any.insert(shortest + random.below(longest - shortest + 1));
  std::set<int> prime;
  while (static_cast<int>(prime.size()) < primes) {
    const int side = shortest + random.below(longest - shortest + 1);
    if (is_prime(side) && !any.contains(side)) prime.insert(side);
  }
  std::vector<ConversionCell> cells;
  for (const std::set<int>* sides : {&any, &prime}) {
    for (const int side : *sides) cells.push_back({.columns = side, .rows = side});
  }
  return cells;
}

}  // namespace kyv::bench
