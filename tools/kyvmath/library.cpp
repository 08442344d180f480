#include "library.h"

#include "error.h"
#include "image_io.h"

namespace kyv::host {
namespace {

std::filesystem::path library_to_load(const std::optional<std::filesystem::path>& asked_for) {
  if (asked_for) {
    // A bare name would be looked for elsewhere than where the user points.
    const auto absolute = std::filesystem::absolute(*asked_for);
    if (!std::filesystem::exists(absolute)) throw Error("no such file");
    return absolute;
  }
  const auto beside = platform::executable_path().parent_path() / platform::kLibraryName;
  std::error_code ignored;
  return std::filesystem::exists(beside, ignored) ? beside : std::filesystem::path(platform::kLibraryName);
}

std::filesystem::path checked_library(const std::optional<std::filesystem::path>& asked_for) {
  try {
    return library_to_load(asked_for);
  } catch (const Error& error) {
    throw Error(display(*asked_for) + ": " + error.what());
  }
}

std::string status_text(KyvMathStatusCode status) {
  switch (status) {
    case KYVMATH_RESIZE_FAILED:
      return "the library refused the resize (status 2)";
    case KYVMATH_FAILED:
      return "the library ran out of memory (status 10)";
    case KYVMATH_NOT_INITIALIZED:
      return "the library is not initialised (status 12)";
    case KYVMATH_BAD_ARGUMENT:
      return "the library refused an argument (status 96)";
    default:
      return "the library failed (status " + std::to_string(status) + ")";
  }
}

void check(KyvMathStatusCode status) {
  if (status != KYVMATH_OK) throw Error(status_text(status));
}

}  // namespace

template <typename Function>
Function* Library::look_up(const char* name) const {
  void* found = library_.symbol(name);
  if (found == nullptr) throw Error(display(library_.file()) + " lacks the function " + name);
  return reinterpret_cast<Function*>(found);
}

Library::Library(const std::optional<std::filesystem::path>& path)
    : library_(checked_library(path)),
      initialize_(look_up<decltype(KyvMathInitialize)>("KyvMathInitialize")),
      terminate_(look_up<decltype(KyvMathTerminate)>("KyvMathTerminate")),
      resize_(look_up<decltype(KyvMathResize)>("KyvMathResize")),
      resize_region_(look_up<decltype(KyvMathResizeWithRegion)>("KyvMathResizeWithRegion")),
      otf_from_psf_(look_up<decltype(KyvMathConvertOtfFromPsf)>("KyvMathConvertOtfFromPsf")),
      psf_from_otf_(look_up<decltype(KyvMathConvertPsfFromOtf)>("KyvMathConvertPsfFromOtf")),
      otf_from_psf_double_(look_up<decltype(KyvMathConvertOtfFromPsf_D)>("KyvMathConvertOtfFromPsf_D")),
      psf_from_otf_double_(look_up<decltype(KyvMathConvertPsfFromOtf_D)>("KyvMathConvertPsfFromOtf_D")) {
  check(initialize_());
}

Library::~Library() { terminate_(); }

void Library::resize(KyvMathMode mode, const Image& source, const Rectangle& region,
                     Image& destination) const {
  const PixelFormat format = source.format();
  const auto source_step = static_cast<int>(source.step());
  const auto destination_step = static_cast<int>(destination.step());
  const bool whole = region.width == source.width() && region.height == source.height();
  if (whole) {
    check(resize_(mode, format.channels, format.bits, source.row(0), source.width(), source.height(),
                  source_step, destination.row(0), destination.width(), destination.height(),
                  destination_step));
  } else {
    check(resize_region_(mode, format.channels, format.bits, source.row(0), source.width(), source.height(),
                         source_step, region.x, region.y, region.width, region.height, destination.row(0),
                         destination.width(), destination.height(), destination_step));
  }
}

void Library::convert(Direction direction, Precision precision, double* real, double* imag, int width,
                      int height, int planes) const {
  const bool forward = direction == Direction::kOtfFromPsf;
  auto* function = precision == Precision::kSingle ? (forward ? otf_from_psf_ : psf_from_otf_)
                                                   : (forward ? otf_from_psf_double_ : psf_from_otf_double_);
  // The transform views a plane as `width` runs of `height` values: a picture stored row by row is passed
  // with its sides exchanged.
  check(function(real, imag, real, imag, height, width, planes));
}

}  // namespace kyv::host
