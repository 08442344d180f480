// Where running sums take a vector of samples from. A source has `arrive`, then `sample(i)` for each vector,
// then `leave`, at each position.
#pragma once

#include "resize/kernels/bytes.h"
#include "resize/kernels/running.h"
#include "resize/kernels/transposition_vector.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

// Prefetches rows `ahead` of a piece that is read: those of kVectors vectors, which have every fourth row
// each. Where a vector has four quads, each piece of a cache line brings the rows of one: sixteen rows at
// once are slower. The rows of fewer quads come with the first piece.
template <int kVectors>
[[gnu::always_inline]] inline void prefetch_ahead_of(const std::uint8_t* const* rows, Index offset,
                                                     Index ahead) noexcept {
  constexpr int kPieces = static_cast<int>(runtime::kCacheLine) / static_cast<int>(kRunningBytes);
  constexpr int kQuads = simd::F32::kLanes / 4;
  constexpr bool kOneByOne = kQuads == kPieces;
  const Index piece = offset / kRunningBytes % kPieces;
  if (!kOneByOne && piece != 0) return;
  unroll<0, kOneByOne ? 1 : kQuads>([&](auto i) {
    const Index quad = kOneByOne ? piece : Index{i};
    unroll<0, kVectors>([&](auto row) { prefetch<true>(rows[4 * quad + row] + offset + ahead); });
  });
}

// Samples that were converted before.
template <int kVectors>
struct StoredSamples {
  const float* at;
  Index step;

  explicit StoredSamples(const RunningArgs& args) noexcept : at(args.samples), step(args.step) {}
  [[gnu::always_inline]] void arrive() noexcept {}
  [[gnu::always_inline]] simd::Samples sample(int i) const noexcept {
    return simd::load_shared_samples(at + i * simd::F32::kLanes);
  }
  [[gnu::always_inline]] void leave() noexcept { at += step; }
};

inline void pack_rows(const std::uint8_t* const* rows, Index offset, Index pieces, std::uint8_t* out,
                      Index step, Index ahead) noexcept {
  for (; pieces > 0; --pieces) {
    const TransposedBytes bytes = transposed_bytes(rows, offset);
    unroll<0, 4>([&](auto i) { simd::store_raw(out + i * step, simd::as_raw(bytes.v[i])); });
    prefetch_ahead_of<4>(rows, offset, ahead);
    offset += kRunningBytes;
    out += 4 * step;
  }
}

// Samples that were packed. Each is read from its own byte on, so that it is the lowest field of its lane.
template <int kBits, int kChannels, int kVectors>
struct PackedSamples {
  static constexpr std::size_t kShared = 32 / kBits;  // samples in a lane
  static constexpr std::size_t kVectorBytes = sizeof(float) * simd::F32::kLanes;
  const std::uint8_t* packed;
  std::size_t step;
  std::size_t number;

  explicit PackedSamples(const RunningArgs& args) noexcept
      : packed(args.packed),
        step(static_cast<std::size_t>(args.packed_step)),
        number(static_cast<std::size_t>(args.packed_sample)) {}
  [[gnu::always_inline]] void arrive() noexcept {}
  [[gnu::always_inline]] simd::Samples sample(int i) const noexcept {
    const auto vector = static_cast<std::size_t>(i);
    const std::size_t sample = kChannels == 1 ? number : number + vector;
    const std::size_t group = kChannels == 1 ? vector * kVectorBytes : 0;
    const std::size_t at = sample / kShared * step + sample % kShared * (kBits / 8) + group;
    return simd::field_to_float<kBits, 0>(simd::load_raw(packed + at));
  }
  [[gnu::always_inline]] void leave() noexcept { number += kChannels; }
};

// For the pixels of a piece of kRunningBytes: the place of each byte of their four 32-bit numbers.
template <int kBits>
struct PixelPlaces {
  std::uint8_t places[128 / (4 * kBits) * kRunningBytes];
};
template <int kBits>
constexpr PixelPlaces<kBits> pixel_places() noexcept {
  PixelPlaces<kBits> all{};
  for (int i = 0; i < 128 / (4 * kBits) * static_cast<int>(kRunningBytes); ++i) {
    const int byte = i % 4;
    all.places[i] = static_cast<std::uint8_t>(byte < kBits / 8 ? i / 4 * (kBits / 8) + byte : 0x80);
  }
  return all;
}

// Pixels of four channels, as they are in the rows: the vectors of rows [i], [i + 4], ...
template <int kBits, int kVectors>
struct RawPixels {
  static constexpr std::size_t kBytes = kBits / 2;  // of a pixel
  static constexpr std::size_t kPiece = kRunningBytes;
  static constexpr auto kPlaces = pixel_places<kBits>();
  const std::uint8_t* const* rows;
  Index ahead;
  std::size_t offset;  // bytes from the rows' starts
  simd::Raw raw[kVectors];
  simd::QuadPlaces places;

  explicit RawPixels(const RunningArgs& args) noexcept
      : rows(args.rows), ahead(args.ahead), offset(static_cast<std::size_t>(args.begin) * kBytes) {
    load(offset / kPiece * kPiece);
  }
  [[gnu::always_inline]] void load(std::size_t from) noexcept {
    const auto at = static_cast<Index>(from);
    unroll<0, kVectors>([&](auto i) { raw[i] = simd::load_quads(rows + i, at); });
    prefetch_ahead_of<kVectors>(rows, at, ahead);
  }
  [[gnu::always_inline]] void arrive() noexcept {
    const std::size_t within = offset % kPiece;
    if (within == 0) load(offset);
    places = simd::load_places(kPlaces.places + within / kBytes * kPiece);
  }
  [[gnu::always_inline]] simd::Samples sample(int i) const noexcept {
    return simd::quads_to_float(raw[i], places);
  }
  [[gnu::always_inline]] void leave() noexcept { offset += kBytes; }
};

}  // namespace
}  // namespace kyv::resize
