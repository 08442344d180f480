// The eight exported functions: check, call, map to a status.
#include "KyvMath.h"

#include <cstdint>

#include "psfotf/conversion.h"
#include "resize/resize_request.h"
#include "runtime/dispatch.h"

namespace {

using namespace kyv;

bool g_initialized = false;

std::int32_t mapped_mode(unsigned mode) noexcept {
  switch (mode) {
    case 1:
    case 2:
    case 4:
    case 8:
    case 16:
      return static_cast<std::int32_t>(mode);
    default:
      return -1;
  }
}

KyvMathStatusCode resize_status(const resize::ResizeRequest& request) noexcept {
  const int result = resize::run_resize_request(request, runtime::active_kernel_set());
  return result == 0 ? KYVMATH_OK : KYVMATH_RESIZE_FAILED;
}

KyvMathStatusCode conversion_status(const psfotf::PlaneStack& stack, psfotf::Direction direction,
                                    psfotf::Precision precision) noexcept {
  const int result = psfotf::convert_planes(stack, direction, precision, runtime::active_kernel_set());
  return result == 0 ? KYVMATH_OK : KYVMATH_FAILED;
}

}  // namespace

extern "C" {

KyvMathStatusCode KYVMATH_LIFECYCLE_CALL KyvMathInitialize(void) {
  g_initialized = true;
  return KYVMATH_OK;
}

KyvMathStatusCode KYVMATH_LIFECYCLE_CALL KyvMathTerminate(void) {
  g_initialized = false;
  return KYVMATH_OK;
}

KyvMathStatusCode KYVMATH_CALL KyvMathResize(unsigned int mode, int channels, int bitsPerSample,
                                             const void* src, int srcWidth, int srcHeight, int srcStep,
                                             void* dst, int dstWidth, int dstHeight, int dstStep) {
  if (!g_initialized) return KYVMATH_NOT_INITIALIZED;
  if (src == nullptr || dst == nullptr || srcWidth == 0 || srcHeight == 0 || dstWidth == 0 || dstHeight == 0)
    return KYVMATH_BAD_ARGUMENT;
  return resize_status({mapped_mode(mode), channels, bitsPerSample, src, srcWidth, srcHeight, srcStep, 0, 0,
                        srcWidth, srcHeight, dst, dstWidth, dstHeight, dstStep});
}

KyvMathStatusCode KYVMATH_CALL KyvMathResizeWithRegion(unsigned int mode, int channels, int bitsPerSample,
                                                       const void* src, int srcWidth, int srcHeight,
                                                       int srcStep, int regionX, int regionY, int regionWidth,
                                                       int regionHeight, void* dst, int dstWidth,
                                                       int dstHeight, int dstStep) {
  if (!g_initialized) return KYVMATH_NOT_INITIALIZED;
  if (src == nullptr || dst == nullptr || regionWidth == 0 || regionHeight == 0 || dstWidth == 0 ||
      dstHeight == 0)
    return KYVMATH_BAD_ARGUMENT;
  return resize_status({mapped_mode(mode), channels, bitsPerSample, src, srcWidth, srcHeight, srcStep,
                        regionX, regionY, regionWidth, regionHeight, dst, dstWidth, dstHeight, dstStep});
}

KyvMathStatusCode KYVMATH_CALL KyvMathConvertOtfFromPsf(const double* srcReal, const double* srcImag,
                                                        double* dstReal, double* dstImag, int width,
                                                        int height, int planes) {
  return conversion_status({srcReal, srcImag, dstReal, dstImag, width, height, planes},
                           psfotf::Direction::kForward, psfotf::Precision::kSingle);
}

KyvMathStatusCode KYVMATH_CALL KyvMathConvertPsfFromOtf(const double* srcReal, const double* srcImag,
                                                        double* dstReal, double* dstImag, int width,
                                                        int height, int planes) {
  return conversion_status({srcReal, srcImag, dstReal, dstImag, width, height, planes},
                           psfotf::Direction::kBackward, psfotf::Precision::kSingle);
}

KyvMathStatusCode KYVMATH_CALL KyvMathConvertOtfFromPsf_D(const double* srcReal, const double* srcImag,
                                                          double* dstReal, double* dstImag, int width,
                                                          int height, int planes) {
  return conversion_status({srcReal, srcImag, dstReal, dstImag, width, height, planes},
                           psfotf::Direction::kForward, psfotf::Precision::kDouble);
}

KyvMathStatusCode KYVMATH_CALL KyvMathConvertPsfFromOtf_D(const double* srcReal, const double* srcImag,
                                                          double* dstReal, double* dstImag, int width,
                                                          int height, int planes) {
  return conversion_status({srcReal, srcImag, dstReal, dstImag, width, height, planes},
                           psfotf::Direction::kBackward, psfotf::Precision::kDouble);
}

}  // extern "C"
