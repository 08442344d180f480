// The kernels that move bytes, written against the `Picker` and the vectors of an instruction set.
#pragma once

#include "resize/kernels/bytes.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

template <class Picker, int kWindows, bool kNear>
void permute_row(const BytePieces& pieces, Index first, Index end, const std::uint8_t* src, Index ahead,
                 std::uint8_t* dst) noexcept {
  constexpr Index kLanes = Picker::kLanes;
  constexpr Index kPiece = kLanes * Picker::kLaneBytes;
  constexpr Index kWindow = Index{kWindows} * Picker::kLaneBytes;
  constexpr auto kLine = static_cast<Index>(runtime::kCacheLine);
  const Index* bases = pieces.bases + first * kLanes;
  const std::uint8_t* indices = pieces.indices + first * kPiece;
  const auto write = [&](std::uint8_t* to) noexcept {
    for (Index lane = 0; lane < kLanes; ++lane) {
      const std::uint8_t* next = src + bases[lane] + ahead;
      for (Index byte = 0; byte < kWindow; byte += kLine) prefetch<kNear>(next + byte);
    }
    Picker::template pick<kWindows>(src, bases, indices, to);
    bases += kLanes;
    indices += kPiece;
  };
  const Index last = pieces.count - 1;
  std::uint8_t* const row_end = dst + pieces.bytes - first * pieces.step;
  for (Index piece = first; piece < end && piece < last; ++piece, dst += pieces.step) write(dst);
  if (end > last) write(row_end - kPiece);
}

template <class Picker>
void permute(const BytePieces& pieces, Index first, Index end, const std::uint8_t* src, Index ahead,
             std::uint8_t* dst) noexcept {
  constexpr decltype(permute<Picker>)* kKernels[][2] = {
      {permute_row<Picker, 1, false>, permute_row<Picker, 1, true>},
      {permute_row<Picker, 2, false>, permute_row<Picker, 2, true>},
      {permute_row<Picker, 3, false>, permute_row<Picker, 3, true>},
      {permute_row<Picker, 4, false>, permute_row<Picker, 4, true>}};
  kKernels[pieces.windows - 1][pieces.rows_cached ? 1 : 0](pieces, first, end, src, ahead, dst);
}

// Copies fewer bytes than two cache lines have. By themselves, 32-bit compilers take a string instruction for
// so few: copies past the caches took up to 1.1 times as long. With pieces of 16 bytes and more some do, too.
inline void copy_few(const std::uint8_t* src, std::uint8_t* dst, std::size_t count) noexcept {
  std::size_t done = 0;
  for (; count - done >= sizeof(std::uint64_t); done += sizeof(std::uint64_t)) {
    __builtin_memcpy(dst + done, src + done, sizeof(std::uint64_t));
  }
  for (; done < count; ++done) dst[done] = src[done];
}

// Whole cache lines: a part of one costs a read of the rest.
void stream(const std::uint8_t* src, std::uint8_t* dst, Index count) noexcept {
  constexpr std::size_t kLine = runtime::kCacheLine;
  const auto bytes = static_cast<std::size_t>(count);
  const std::size_t misplaced = reinterpret_cast<std::uintptr_t>(dst) % kLine;
  const std::size_t head = misplaced == 0 ? 0 : kLine - misplaced;
  if (bytes < head + kLine) return copy_few(src, dst, bytes);
  copy_few(src, dst, head);
  std::size_t done = head;
  for (; bytes - done >= kLine; done += kLine) {
    for (std::size_t k = 0; k < kLine; k += simd::kVectorBytes) {
      // Vector loads and stores may alias anything.
      // cppcheck-suppress invalidPointerCast
      const simd::F32 v = simd::load(reinterpret_cast<const float*>(src + done + k));
      // cppcheck-suppress invalidPointerCast
      simd::store_streaming(reinterpret_cast<float*>(dst + done + k), v);
    }
  }
  copy_few(src + done, dst + done, bytes - done);
}

void stream_fence() noexcept { simd::stream_fence(); }

// For vectors that have no permutation of bytes.
constexpr ByteKernels stream_kernels() noexcept { return {.stream = stream, .stream_fence = stream_fence}; }

template <class Picker>
constexpr ByteKernels byte_kernels() noexcept {
  return {.lane_bytes = Picker::kLaneBytes,
          .lanes = Picker::kLanes,
          .permute = permute<Picker>,
          .stream = stream,
          .stream_fence = stream_fence};
}

}  // namespace
}  // namespace kyv::resize
