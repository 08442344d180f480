// The pictures that cells work on.
#pragma once

#include <cstddef>
#include <vector>

#include "cells/resize_cell.h"

namespace kyv::bench {

// Broad slopes with noise on top, as photographs have; the same for every run.
void fill_with_picture(std::vector<unsigned char>& bytes);

// Source and destination of the cell at hand; kept while cells follow each other with the same sizes.
class Images {
 public:
  void prepare(const ResizeCell& cell);

  // The first pixel of what is resized, and the bytes from row to row.
  const unsigned char* src(const ResizeCell& cell) const;
  std::size_t src_step(const ResizeCell& cell) const;
  const std::vector<unsigned char>& frame() const { return frame_; }
  // What is resized, cut out of its frame.
  const unsigned char* packed() const { return cut_out_.empty() ? frame_.data() : cut_out_.data(); }
  std::vector<unsigned char>& dst() { return dst_; }

 private:
  std::vector<unsigned char> frame_;
  std::vector<unsigned char> cut_out_;  // empty: the frame itself
  std::vector<unsigned char> dst_;
};

}  // namespace kyv::bench
