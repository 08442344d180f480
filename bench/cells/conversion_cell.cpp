#include "cells/conversion_cell.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace kyv::bench {
namespace {

constexpr std::size_t kAlignment = 64;

std::size_t offset_of(const void* memory, Placement placement) {
  if (placement == Placement::kMalloc) return 0;
  const std::size_t to_line =
      (kAlignment - reinterpret_cast<std::uintptr_t>(memory) % kAlignment) % kAlignment;
  return to_line + (placement == Placement::kMisaligned ? sizeof(double) : 0);
}

}  // namespace

std::string ConversionCell::name() const {
  return "fft " + std::to_string(columns) + 'x' + std::to_string(rows) + (single ? " float" : " double") +
         (backward ? " back" : "") + (real ? " real" : "");
}

bool ConversionCell::fits_in_memory() const {
  return sizeof(void*) == 8 || values() * kPlanes * 4 * sizeof(double) < 1.3e9;
}

void PlaneArrays::Free::operator()(void* p) const noexcept { std::free(p); }

PlaneArrays::PlaneArrays(const ConversionCell& cell, Placement placement)
    : values_(kPlanes * static_cast<std::size_t>(cell.columns) * static_cast<std::size_t>(cell.rows)) {
  for (Array& array : arrays_) {
    array.memory.reset(std::malloc(values_ * sizeof(double) + 2 * kAlignment));
    if (!array.memory) throw std::bad_alloc();
    array.data = reinterpret_cast<double*>(static_cast<std::byte*>(array.memory.get()) +
                                           offset_of(array.memory.get(), placement));
  }
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < values_; ++i) {
    state = state * 1664525u + 1013904223u;
    arrays_[0].data[i] = static_cast<double>(state >> 8) * 0x1p-24;
    arrays_[1].data[i] = cell.real ? 0.0 : static_cast<double>(state & 0xFFFFu) * 0x1p-16 - 0.5;
    arrays_[2].data[i] = arrays_[3].data[i] = 0.0;
  }
}

std::vector<double> PlaneArrays::result() const {
  std::vector<double> values(dst_real(), dst_real() + values_);
  values.insert(values.end(), dst_imag(), dst_imag() + values_);
  return values;
}

void PlaneArrays::forget_result() {
  std::memset(dst_real(), 0xA5, values_ * sizeof(double));
  std::memset(dst_imag(), 0xA5, values_ * sizeof(double));
}

void PlaneArrays::turn_round() {
  std::swap(arrays_[0], arrays_[2]);
  std::swap(arrays_[1], arrays_[3]);
}

}  // namespace kyv::bench
