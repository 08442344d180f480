// Finished rows on their way past the caches.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/stages.h"

namespace kyv::psfotf {
namespace {

// Pieces of finished rows on their way to the caller past the caches. The pieces of several rows are put
// together here and leave as whole cache lines; what is left of a line at the end of a piece waits in `carry`
// for the next piece of its row.
class RowPieces {
 public:
  // Rows `row_step` values apart of which the columns up to `columns` come in pieces. The arrays are aligned
  // to doubles; `carry` holds kCarryDoubles for each row.
  RowPieces(double* re, double* im, std::ptrdiff_t row_step, std::ptrdiff_t columns, bool past_caches,
            double* carry) noexcept
      : destination_{re, im},
        row_step_(row_step),
        columns_(columns),
        past_caches_(past_caches),
        carry_(carry) {}

  // The pieces to come are columns first to last - 1; column `origin`, which is `first` or the next, goes
  // where re() and im() say.
  void start(std::ptrdiff_t first, std::ptrdiff_t last, std::ptrdiff_t origin) noexcept {
    first_ = first;
    last_ = last;
    origin_ = origin;
  }

  // Where column `origin` of the i-th row in work goes. Some values before it may be written again.
  double* re() noexcept { return values_ + kLead; }
  double* im() noexcept { return values_ + kLead + kPart; }
  static constexpr std::ptrdiff_t kRowStep() noexcept { return 2 * kPart; }

  // Writes the i-th row in work as row `row` of the plane.
  void finish(int i, std::int32_t row) noexcept {
    finish_part(i, row, 1);
    finish_part(i, row, 0);
  }
  // The same for the imaginary part alone.
  void finish_im(int i, std::int32_t row) noexcept { finish_part(i, row, 1); }

  // Writes the mirror image of columns 1 to end - 1 of the i-th row in work, which was finished before:
  // column c becomes column row_step - c of row `image`, conjugate.
  void finish_mirrored(int i, std::int32_t image, std::ptrdiff_t end) noexcept {
    mirror_part<false>(i, image, end);
    mirror_part<true>(i, image, end);
  }

 private:
  static constexpr std::ptrdiff_t kLine = runtime::kCacheLine / sizeof(double);
  static_assert(kCarryDoubles == 2 * kLine);
  static constexpr std::ptrdiff_t kLead = 16;  // room for the carry and for a block that overlaps backwards
  static constexpr std::ptrdiff_t kPart = kLead + kPieceValues;

  // Where column 0 of the i-th row in work would be.
  double* column_zero(int i, int part) noexcept {
    return values_ + i * kRowStep() + part * kPart + kLead - origin_;
  }
  // How far an address is behind the start of a cache line.
  static std::ptrdiff_t behind_line(const double* p) noexcept {
    return static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(p) / sizeof(double) % kLine);
  }

  void finish_part(int i, std::int32_t row, int part) noexcept {
    double* values = column_zero(i, part) + first_;
    double* destination = destination_[part] + row * row_step_ + first_;
    double* carry = carry_ + static_cast<std::ptrdiff_t>(row) * kCarryDoubles + part * kLine;
    const std::ptrdiff_t beyond = behind_line(destination);
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
    for (; at < end; at += kLine) {
      for (std::ptrdiff_t n = at; n < at + kLine; n += simd::F64::kLanes) {
        store(destination + n, simd::load(values + n));
      }
    }
    if (last_ == columns_) {
      copy(values, destination, at, count);
    } else {
      move_line(values + count - kLine, carry);
    }
  }

  // The lines whose last value to come is in this piece.
  template <bool kNegated>
  void mirror_part(int i, std::int32_t image, std::ptrdiff_t end) noexcept {
    constexpr int part = kNegated ? 1 : 0;
    const double* values = column_zero(i, part);
    double* destination = destination_[part] + (image + 1) * row_step_;  // column c goes c values before it
    const std::ptrdiff_t first = first_ == 0 ? 1 : first_;
    const std::ptrdiff_t stop = last_ < end ? last_ : end;
    if (stop <= first) return;
    // Lines begin at columns c of the source with destination - c aligned; `high` is the last one of them
    // that is there.
    std::ptrdiff_t high = stop - 1 - (kLine - behind_line(destination - (stop - 1))) % kLine;
    if (stop == end) mirror_single<kNegated>(values, destination, high < 0 ? 1 : high + 1, stop);
    for (; high >= first && high >= kLine; high -= kLine) {
      for (std::ptrdiff_t n = 0; n < kLine; n += simd::F64::kLanes) {
        const std::ptrdiff_t from = high - n - simd::F64::kLanes + 1;
        const simd::F64 v = simd::reverse(simd::load(values + from));
        store(destination - high + n, kNegated ? simd::broadcast(0.0) - v : v);
      }
    }
    if (high >= first) mirror_single<kNegated>(values, destination, 1, high + 1);
  }

  template <bool kNegated>
  static void mirror_single(const double* values, double* destination, std::ptrdiff_t first,
                            std::ptrdiff_t stop) noexcept {
    for (std::ptrdiff_t c = first; c < stop; ++c) destination[-c] = kNegated ? 0.0 - values[c] : values[c];
  }

  void store(double* to, simd::F64 v) const noexcept {
    if (past_caches_) {
      simd::stream_doubles(to, v);
    } else {
      simd::store_doubles(to, v);
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
  std::ptrdiff_t row_step_;
  std::ptrdiff_t columns_;
  bool past_caches_;
  double* carry_;
  std::ptrdiff_t first_ = 0;
  std::ptrdiff_t last_ = 0;
  std::ptrdiff_t origin_ = 0;
  alignas(64) double values_[kMaxFixedRadix * 2 * kPart];
};

}  // namespace
}  // namespace kyv::psfotf
