#include "compare/build.h"

#include <optional>
#include <stdexcept>

#include "compare/lesser_processor.h"

namespace kyv::bench {
namespace {

// The choice of kernels is made by the first calls of both services, if not before.
void make_first_calls(const Build& build) {
  ResizeCell cell;
  cell.mode = 16;
  cell.src_width = cell.src_height = 8;
  cell.dst_width = cell.dst_height = 6;
  cell.channels = 1;
  cell.bits = 8;
  Images images;
  images.prepare(cell);
  build.resize(cell, images, images.dst().data());
  const ConversionCell planes{.columns = 4, .rows = 4};
  build.convert(planes, PlaneArrays(planes, Placement::kMalloc));
}

}  // namespace

Build::Build(const std::string& path, const std::string& kernel_set) {
  if (kernel_set.empty()) {
    start(path);
    return;
  }
  const LesserProcessor processor(kernel_set);
  start(path);
  if (!processor.was_asked()) throw std::runtime_error(path + " did not ask what the processor has");
}

void Build::start(const std::string& path) {
  library_ = std::make_unique<SharedLibrary>(path);
  if (library_->function<KyvMathInitializeFn>("KyvMathInitialize")() != KYVMATH_OK) {
    throw std::runtime_error(path + " does not start");
  }
  resize_ = library_->function<KyvMathResizeWithRegionFn>("KyvMathResizeWithRegion");
  forward_[0] = library_->function<KyvMathConvertFn>("KyvMathConvertOtfFromPsf");
  forward_[1] = library_->function<KyvMathConvertFn>("KyvMathConvertOtfFromPsf_D");
  backward_[0] = library_->function<KyvMathConvertFn>("KyvMathConvertPsfFromOtf");
  backward_[1] = library_->function<KyvMathConvertFn>("KyvMathConvertPsfFromOtf_D");
  make_first_calls(*this);
}

Build::~Build() {
  if (library_) library_->function<KyvMathTerminateFn>("KyvMathTerminate")();
}

void Build::resize(const ResizeCell& cell, const Images& images, unsigned char* dst) const {
  const bool whole = cell.frame.width == 0;
  const KyvMathStatusCode status = resize_(
      static_cast<unsigned>(cell.mode), cell.channels, cell.bits, images.frame().data(),
      whole ? cell.src_width : cell.frame.width, whole ? cell.src_height : cell.frame.height,
      static_cast<int>(images.src_step(cell)), cell.frame.x, cell.frame.y, cell.src_width, cell.src_height,
      dst, cell.dst_width, cell.dst_height, cell.dst_width * static_cast<int>(cell.pixel_bytes()));
  if (status != KYVMATH_OK) throw std::runtime_error("refused: " + cell.name());
}

void Build::convert(const ConversionCell& cell, const PlaneArrays& arrays) const {
  const auto& functions = cell.backward ? backward_ : forward_;
  // A picture's rows are the lines of the transform.
  const KyvMathStatusCode status =
      functions[cell.single ? 0 : 1](arrays.src_real(), arrays.src_imag(), arrays.dst_real(),
                                     arrays.dst_imag(), cell.rows, cell.columns, kPlanes);
  if (status != KYVMATH_OK) throw std::runtime_error("refused: " + cell.name());
}

}  // namespace kyv::bench
