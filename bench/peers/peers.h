// Other libraries doing the same work, for comparison in the same run. Each is optional: where the build
// did not find it, or where it cannot do a task, it answers with an empty Work.
#pragma once

#include "common/timing.h"

namespace kyv::bench::peers {

enum class Filter { kNearest = 1, kLinear = 2, kCubic = 4, kBox = 8, kLanczos = 16 };

// Interleaved images with tight rows; both outlive the Work.
struct ResizeTask {
  const void* src;
  int src_width;
  int src_height;
  void* dst;
  int dst_width;
  int dst_height;
  int channels;  // 1, 3, 4
  int bits;      // 8, 16
  Filter filter;
};

// zimg works on separate planes: it is given a planar copy of the source and leaves planes. One call builds
// the filter graph once and runs it over every plane. Filters of the same support; no box.
Work zimg_resize(const ResizeTask& task);

// stb_image_resize, version 1: triangle, Catmull-Rom and box; no nearest, no Lanczos, no box on enlargement.
Work stb_resize(const ResizeTask& task);

// FFTW: one execution, in place, of a plan made with FFTW_MEASURE beforehand; a forward complex
// transform of `rows` runs of `columns` contiguous values.
Work fftw_execute(int columns, int rows, bool single);

}  // namespace kyv::bench::peers
