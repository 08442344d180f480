#include "suite/heap_bench.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <vector>

#include "cells/cell_sets.h"
#include "cells/images.h"
#include "common/timing.h"
#include "platform/platform.h"
#include "suite/resize_bench.h"

namespace kyv::bench {
namespace {

constexpr std::size_t kHeapBytes = std::size_t{32} << 20;
constexpr double kApart = 0.05;

struct Pattern {
  const char* name;
  std::uint32_t word;
};
constexpr Pattern kPatterns[] = {{"zeros", 0},
                                 {"ones", std::bit_cast<std::uint32_t>(1.0F)},
                                 {"denormals", 0x00012345},
                                 {"NaN", 0x7FC00000}};

// Stands in for the system's heap while it lives. Blocks follow each other in one piece of memory and are
// never used twice between two calls of fill().
class PaintedHeap {
 public:
  PaintedHeap() : formerly_(platform::services) {
    memory_.resize(kHeapBytes / sizeof memory_[0]);
    base_ = memory_.data();
    used_ = most_used_ = 0;
    platform::services.malloc = allocate;
    platform::services.free = release;
  }
  PaintedHeap(const PaintedHeap&) = delete;
  PaintedHeap& operator=(const PaintedHeap&) = delete;
  ~PaintedHeap() { platform::services = formerly_; }

  void fill(std::uint32_t word) {
    const std::size_t words = std::max<std::size_t>(most_used_, 4096) / sizeof word;
    std::fill_n(memory_.data(), words, word);
    used_ = 0;
  }

 private:
  static void* allocate(std::size_t bytes) {
    const std::size_t at = used_;
    used_ += (bytes + 63) / 64 * 64;
    most_used_ = std::max(most_used_, used_);
    return used_ <= kHeapBytes ? reinterpret_cast<std::byte*>(base_) + at : nullptr;
  }
  static void release(void*) {}

  static std::uint32_t* base_;
  static std::size_t used_;
  static std::size_t most_used_;

  platform::Services formerly_;
  std::vector<std::uint32_t> memory_;
};
std::uint32_t* PaintedHeap::base_;
std::size_t PaintedHeap::used_;
std::size_t PaintedHeap::most_used_;

struct Spread {
  double apart;
  double noise;
};

Spread print_cell(const ResizeCell& cell, const char* variant, const std::vector<Timing>& timings) {
  double least = std::numeric_limits<double>::infinity();
  double most = 0.0;
  Spread spread{};
  std::printf("%-40s %-11s", cell.name().c_str(), variant);
  for (const Timing& timing : timings) {
    std::printf(" %9.2f", 1e6 * timing.minimum());
    least = std::min(least, timing.minimum());
    most = std::max(most, timing.minimum());
    spread.noise = std::max(spread.noise, timing.noise());
  }
  spread.apart = most / least - 1.0;
  std::printf(" %7.1f%% %5.1f%%%s\n", 100 * spread.apart, 100 * spread.noise,
              spread.apart > std::max(kApart, spread.noise) ? "  APART" : "");
  std::fflush(stdout);
  return spread;
}

Spread bench_cell(const ResizeCell& cell, const runtime::KernelSet& variant, Images& images,
                  const Effort& effort) {
  PaintedHeap heap;
  std::vector<PreparedWork> works;
  for (const Pattern& pattern : kPatterns) {
    works.push_back({[&heap, word = pattern.word] { heap.fill(word); },
                     [&heap, &cell, &images, &variant] {
                       if (!resize_with(cell, images, variant))
                         throw std::runtime_error("a resize was refused");
                     }});
  }
  return print_cell(cell, variant.name, time_interleaved(std::span<const PreparedWork>(works), effort));
}

}  // namespace

int bench_heap(const Options& options) {
  std::vector<ResizeCell> cells = cells_of_sets(options.cells, options.data);
  std::erase_if(cells, [&](const ResizeCell& cell) {
    return cell.mode == 1 || !cell.is_small() || !options.filter.finds(cell.name());
  });
  std::printf("%-40s %-11s", "cell, us", "variant");
  for (const Pattern& pattern : kPatterns) std::printf(" %9s", pattern.name);
  std::printf("    apart  noise\n");
  Images images;
  int apart = 0;
  for (const ResizeCell& cell : cells) {
    images.prepare(cell);
    for (const runtime::KernelSet* variant : options.variants) {
      const Spread spread = bench_cell(cell, *variant, images, options.effort);
      apart += spread.apart > std::max(kApart, spread.noise) ? 1 : 0;
    }
  }
  std::printf("\n%d calls more than %.0f %% and the noise apart\n", apart, 100 * kApart);
  return apart;
}

}  // namespace kyv::bench
