// The eight exported functions: check, call, map to a status.
//
// This file and all that start-up and shut-down call run on any i686 (see src/CMakeLists.txt); the services
// run only where the processor has what they are compiled for.
#include <cstdint>

#include "KyvMath.h"
#include "api/exception_wall.h"
#include "api/lifecycle.h"
#include "platform/platform.h"
#include "psfotf/conversion.h"
#include "resize/resize_request.h"
#include "runtime/cpu_features.h"
#include "runtime/dispatch.h"
#include "runtime/floating_point_environment.h"
#include "thread/thread_context.h"

namespace {

using namespace kyv;

// Releases what the call made for this thread, however the call ends.
struct ContextRelease {
  ContextRelease() = default;
  ContextRelease(const ContextRelease&) = delete;
  ContextRelease& operator=(const ContextRelease&) = delete;
  ~ContextRelease() { thread::release_thread_context(); }
};

// Holds before any work of a resize begins. The place for a further condition: a call that does not meet it
// answers KYVMATH_RESIZE_FAILED.
bool ready_for_work() noexcept { return true; }

std::int32_t mapped_mode(unsigned mode) noexcept {
  switch (mode) {
    case KYVMATH_NEAREST:
    case KYVMATH_LINEAR:
    case KYVMATH_CUBIC:
    case KYVMATH_SUPER:
    case KYVMATH_LANCZOS:
      return static_cast<std::int32_t>(mode);
    default:
      return -1;
  }
}

KyvMathStatusCode resize_status(const resize::ResizeRequest& request) noexcept {
  if (!runtime::has_baseline()) return KYVMATH_RESIZE_FAILED;
  return api::behind_wall(KYVMATH_RESIZE_FAILED, [&]() -> KyvMathStatusCode {
    const runtime::FloatingPointScope scope;
    const ContextRelease release;
    if (!ready_for_work()) return KYVMATH_RESIZE_FAILED;
    const int result = resize::run_resize_request(request, runtime::active_kernel_set());
    return result == 0 ? KYVMATH_OK : KYVMATH_RESIZE_FAILED;
  });
}

KyvMathStatusCode conversion_status(const psfotf::PlaneStack& stack, psfotf::Direction direction,
                                    psfotf::Precision precision) noexcept {
  if (!runtime::has_baseline()) return KYVMATH_FAILED;
  return api::behind_wall(KYVMATH_FAILED, [&]() -> KyvMathStatusCode {
    const runtime::FloatingPointScope scope;
    const int result = psfotf::convert_planes(stack, direction, precision, runtime::active_kernel_set());
    return result == 0 ? KYVMATH_OK : KYVMATH_FAILED;
  });
}

}  // namespace

extern "C" {

KYV_REALIGN_STACK KyvMathStatusCode KYVMATH_LIFECYCLE_CALL KyvMathInitialize(void) {
  return api::behind_wall(
      KYVMATH_FAILED, []() -> KyvMathStatusCode { return api::initialize() ? KYVMATH_OK : KYVMATH_FAILED; });
}

KYV_REALIGN_STACK KyvMathStatusCode KYVMATH_LIFECYCLE_CALL KyvMathTerminate(void) {
  return api::behind_wall(KYVMATH_OK, []() -> KyvMathStatusCode {
    api::terminate();
    return KYVMATH_OK;
  });
}

KYV_REALIGN_STACK KyvMathStatusCode KYVMATH_CALL KyvMathResize(unsigned int mode, int channels,
                                                               int bitsPerSample, const void* src,
                                                               int srcWidth, int srcHeight, int srcStep,
                                                               void* dst, int dstWidth, int dstHeight,
                                                               int dstStep) {
  if (!api::is_initialized()) return KYVMATH_NOT_INITIALIZED;
  if (src == nullptr || dst == nullptr || srcWidth == 0 || srcHeight == 0 || dstWidth == 0 || dstHeight == 0)
    return KYVMATH_BAD_ARGUMENT;
  return resize_status({mapped_mode(mode), channels, bitsPerSample, src, srcWidth, srcHeight, srcStep, 0, 0,
                        srcWidth, srcHeight, dst, dstWidth, dstHeight, dstStep});
}

KYV_REALIGN_STACK KyvMathStatusCode KYVMATH_CALL
KyvMathResizeWithRegion(unsigned int mode, int channels, int bitsPerSample, const void* src, int srcWidth,
                        int srcHeight, int srcStep, int regionX, int regionY, int regionWidth,
                        int regionHeight, void* dst, int dstWidth, int dstHeight, int dstStep) {
  if (!api::is_initialized()) return KYVMATH_NOT_INITIALIZED;
  if (src == nullptr || dst == nullptr || regionWidth == 0 || regionHeight == 0 || dstWidth == 0 ||
      dstHeight == 0)
    return KYVMATH_BAD_ARGUMENT;
  return resize_status({mapped_mode(mode), channels, bitsPerSample, src, srcWidth, srcHeight, srcStep,
                        regionX, regionY, regionWidth, regionHeight, dst, dstWidth, dstHeight, dstStep});
}

KYV_REALIGN_STACK KyvMathStatusCode KYVMATH_CALL KyvMathConvertOtfFromPsf(const double* srcReal,
                                                                          const double* srcImag,
                                                                          double* dstReal, double* dstImag,
                                                                          int width, int height, int planes) {
  return conversion_status({srcReal, srcImag, dstReal, dstImag, width, height, planes},
                           psfotf::Direction::kForward, psfotf::Precision::kSingle);
}

KYV_REALIGN_STACK KyvMathStatusCode KYVMATH_CALL KyvMathConvertPsfFromOtf(const double* srcReal,
                                                                          const double* srcImag,
                                                                          double* dstReal, double* dstImag,
                                                                          int width, int height, int planes) {
  return conversion_status({srcReal, srcImag, dstReal, dstImag, width, height, planes},
                           psfotf::Direction::kBackward, psfotf::Precision::kSingle);
}

KYV_REALIGN_STACK KyvMathStatusCode KYVMATH_CALL KyvMathConvertOtfFromPsf_D(const double* srcReal,
                                                                            const double* srcImag,
                                                                            double* dstReal, double* dstImag,
                                                                            int width, int height,
                                                                            int planes) {
  return conversion_status({srcReal, srcImag, dstReal, dstImag, width, height, planes},
                           psfotf::Direction::kForward, psfotf::Precision::kDouble);
}

KYV_REALIGN_STACK KyvMathStatusCode KYVMATH_CALL KyvMathConvertPsfFromOtf_D(const double* srcReal,
                                                                            const double* srcImag,
                                                                            double* dstReal, double* dstImag,
                                                                            int width, int height,
                                                                            int planes) {
  return conversion_status({srcReal, srcImag, dstReal, dstImag, width, height, planes},
                           psfotf::Direction::kBackward, psfotf::Precision::kDouble);
}

}  // extern "C"
