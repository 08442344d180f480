// One build of the library, loaded beside others.
#pragma once

#include <memory>
#include <string>

#include "KyvMath.h"
#include "cells/conversion_cell.h"
#include "cells/images.h"
#include "cells/resize_cell.h"

namespace kyv::bench {

// A loaded library; unloaded at the end.
class SharedLibrary {
 public:
  // A file that is loaded already is loaded once more, with data of its own. Throws std::runtime_error.
  explicit SharedLibrary(const std::string& path);
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  ~SharedLibrary();

  void* find(const char* symbol) const;  // throws std::runtime_error when it is not there

 private:
  void* handle_ = nullptr;
};

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
