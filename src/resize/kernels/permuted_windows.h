// What the permuted row pass chooses from: a window of one or two vectors, or four of 16 bytes.
#pragma once

#include "resize/kernels/permuted_impl.h"

namespace kyv::resize {
namespace {

template <class WindowOfSet, int kBits, int kRowsAtOnce>
struct Samples {
  static constexpr int kRows = kRowsAtOnce;
  using Window = WindowOfSet;
  static Window load(const std::uint8_t* p, const std::int32_t* windows) noexcept {
    Window window;
    load_window(window, p, windows);
    return window;
  }
  static simd::LaneFloats pick(const Window& window, simd::Lanes codes) noexcept {
    return pick_samples<kBits>(window, codes);
  }
};

// With 8 registers two pixels would halve the rows that are taken at a time: sums would be 1.05 to 1.3 times
// as slow as with one.
template <class Picked>
constexpr PermutedPass* pair_pass() noexcept {
  if constexpr (runtime::kFewRegisters)
    return nullptr;
  else
    return permuted_pass<Picked, 2>;
}

// For a set that permutes over whole vectors; `lane_windows` may be null.
template <class Narrow, class Wide, int kBits>
constexpr PermutedDepth permuted_vectors(PermutedPass* lane_windows) noexcept {
  using NarrowSamples = Samples<Narrow, kBits, kPermutedRows>;
  using WideSamples = Samples<Wide, kBits, kPermutedRows>;
  return {.pass = {{permuted_pass<NarrowSamples, 1>, pair_pass<NarrowSamples>()},
                   {permuted_pass<WideSamples, 1>, pair_pass<WideSamples>()},
                   {lane_windows}},
          .codes = {}};
}

// For a set that permutes within 16 bytes.
template <class Quarters, int kBits>
constexpr PermutedDepth permuted_quarters(PlaceCodes codes) noexcept {
  using QuarterSamples = Samples<Quarters, kBits, 2>;
  return {.pass = {{permuted_pass<QuarterSamples, 1>, permuted_pass<QuarterSamples, 2>}}, .codes = codes};
}

}  // namespace
}  // namespace kyv::resize
