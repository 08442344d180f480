// Finished rows on their way past the caches.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/stages.h"

namespace kyv::psfotf {
namespace {

inline constexpr std::ptrdiff_t kPieceValues = 64;  // of one part of a row

// Pieces of finished rows on their way to the caller past the caches. The pieces of several rows are put
// together here and leave as whole cache lines; what is left of a line at the end of a piece waits in `carry`
// for the next piece of its row.
class RowPieces {
 public:
  // The arrays are aligned to doubles; `carry` holds kCarryDoubles for each row.
  RowPieces(double* re, double* im, std::ptrdiff_t row_length, bool past_caches, double* carry) noexcept
      : destination_{re, im}, row_length_(row_length), past_caches_(past_caches), carry_(carry) {}

  // The pieces to come are columns first to last - 1.
  void start(std::ptrdiff_t first, std::ptrdiff_t last) noexcept {
    first_ = first;
    last_ = last;
  }

  // Where column `first` of the i-th row in work goes. Some values before it may be written again.
  double* re() noexcept { return values_ + kLead; }
  double* im() noexcept { return values_ + kLead + kPart; }
  static constexpr std::ptrdiff_t kRowStep() noexcept { return 2 * kPart; }

  // Writes the i-th row in work as row `row` of the plane.
  void finish(int i, std::int32_t row) noexcept {
    finish_part(i, row, 0);
    finish_part(i, row, 1);
  }
  // The same for the imaginary part alone.
  void finish_im(int i, std::int32_t row) noexcept { finish_part(i, row, 1); }

 private:
  static constexpr std::ptrdiff_t kLine = runtime::kCacheLine / sizeof(double);
  static_assert(kCarryDoubles == 2 * kLine);
  static constexpr std::ptrdiff_t kLead = 16;  // room for the carry and for a block that overlaps backwards
  static constexpr std::ptrdiff_t kPart = kLead + kPieceValues;

  void finish_part(int i, std::int32_t row, int part) noexcept {
    double* values = values_ + i * kRowStep() + part * kPart + kLead;
    double* destination = destination_[part] + row * row_length_ + first_;
    double* carry = carry_ + static_cast<std::ptrdiff_t>(row) * kCarryDoubles + part * kLine;
    constexpr int lanes = simd::F64::kLanes;
    const auto beyond =
        static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(destination) / sizeof(double) % kLine);
    const std::ptrdiff_t count = last_ - first_;
    std::ptrdiff_t at = -beyond;
    if (first_ == 0) {
      at = beyond == 0 ? 0 : kLine - beyond;
      if (at > count) at = count;
      copy(values, destination, 0, at);
    } else {
      move_line(carry, values - kLine);
    }
    const std::ptrdiff_t end = at + (count - at) / kLine * kLine;
    if (past_caches_) {
      for (; at < end; at += lanes) {
        simd::F64 v;
        simd::load_doubles(v, values + at);
        simd::stream_doubles(destination + at, v);
      }
    } else {
      for (; at < end; at += lanes) {
        simd::F64 v;
        simd::load_doubles(v, values + at);
        simd::store_doubles(destination + at, v);
      }
    }
    if (last_ == row_length_) {
      copy(values, destination, at, count);
    } else {
      move_line(values + count - kLine, carry);
    }
  }

  static void copy(const double* from, double* to, std::ptrdiff_t first, std::ptrdiff_t last) noexcept {
    for (std::ptrdiff_t i = first; i < last; ++i) to[i] = from[i];
  }
  static void move_line(const double* from, double* to) noexcept {
    for (int i = 0; i < kLine; i += simd::F64::kLanes) {
      simd::F64 v;
      simd::load_doubles(v, from + i);
      simd::store_doubles(to + i, v);
    }
  }

  double* destination_[2];
  std::ptrdiff_t row_length_;
  bool past_caches_;
  double* carry_;
  std::ptrdiff_t first_ = 0;
  std::ptrdiff_t last_ = 0;
  alignas(64) double values_[kMaxFixedRadix * 2 * kPart];
};

}  // namespace
}  // namespace kyv::psfotf
