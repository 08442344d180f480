// One build of the library, loaded beside others.
#pragma once

#include <memory>
#include <string>

#include "KyvMath.h"
#include "cells/conversion_cell.h"
#include "cells/images.h"
#include "cells/resize_cell.h"
#include "common/shared_library.h"

namespace kyv::bench {

// The eight functions of one build, started for as long as this lives.
class Build {
 public:
  // Loads `path` and lets it choose its kernels: those of this processor, or with a `kernel_set` ("avx512",
  // "avx2", "sse2") those that it takes on a processor that has no more than these.
  Build(const std::string& path, const std::string& kernel_set);
  Build(const Build&) = delete;
  Build& operator=(const Build&) = delete;
  ~Build();

  // Both throw std::runtime_error when the library refuses.
  void resize(const ResizeCell& cell, const Images& images, unsigned char* dst) const;
  void convert(const ConversionCell& cell, const PlaneArrays& arrays) const;

 private:
  void start(const std::string& path);

  std::unique_ptr<SharedLibrary> library_;
  KyvMathResizeWithRegionFn resize_ = nullptr;
  KyvMathConvertFn forward_[2] = {};   // single, double
  KyvMathConvertFn backward_[2] = {};  // single, double
};

}  // namespace kyv::bench
