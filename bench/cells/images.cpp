#include "cells/images.h"

#include <cstdint>

namespace kyv::bench {

void fill_with_picture(std::vector<unsigned char>& bytes) {
  std::uint32_t state = 12345;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    state = state * 1664525u + 1013904223u;
    bytes[i] = static_cast<unsigned char>((i >> 7) + (state >> 27));
  }
}

void Images::prepare(const ResizeCell& cell) {
  if (frame_.size() != cell.frame_bytes()) {
    std::vector<unsigned char>().swap(frame_);
    frame_.resize(cell.frame_bytes());
    fill_with_picture(frame_);
  }
  if (dst_.size() != cell.dst_bytes()) {
    std::vector<unsigned char>().swap(dst_);
    dst_.resize(cell.dst_bytes());
  }
  cut_out_.clear();
  if (cell.frame.width == 0) return;
  const std::size_t row_bytes = static_cast<std::size_t>(cell.src_width) * cell.pixel_bytes();
  for (int y = 0; y < cell.src_height; ++y) {
    const unsigned char* row = src(cell) + static_cast<std::size_t>(y) * src_step(cell);
    cut_out_.insert(cut_out_.end(), row, row + row_bytes);
  }
}

const unsigned char* Images::src(const ResizeCell& cell) const {
  return frame_.data() + static_cast<std::size_t>(cell.frame.y) * src_step(cell) +
         static_cast<std::size_t>(cell.frame.x) * cell.pixel_bytes();
}

std::size_t Images::src_step(const ResizeCell& cell) const {
  const int width = cell.frame.width == 0 ? cell.src_width : cell.frame.width;
  return static_cast<std::size_t>(width) * cell.pixel_bytes();
}

}  // namespace kyv::bench
