#pragma once

#include <KyvMath.h>

#include <filesystem>
#include <optional>
#include <string>

#include "image.h"
#include "platform.h"

namespace kyv::host {

struct Rectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

enum class Direction { kOtfFromPsf, kPsfFromOtf };
enum class Precision { kSingle, kDouble };

// The library, loaded at run time as any host loads it: found, its eight functions looked up, initialised;
// and terminated before it is unloaded.
class Library {
 public:
  // Without a path: beside the program first, then where the system looks. Throws Error.
  explicit Library(const std::optional<std::filesystem::path>& path);
  ~Library();

  std::filesystem::path file() const { return library_.file(); }
  std::string version() const { return library_.version(); }

  // Fills `destination`, which has the source's format, from the region of `source`. May be called from
  // several threads at once. Throws Error when the library refuses.
  void resize(KyvMathMode mode, const Image& source, const Rectangle& region, Image& destination) const;

  // Transforms `planes` pictures of width x height values, row after row, in place. The result is the
  // textbook two-dimensional transform, element (0, 0) being the origin of both. Throws Error when the
  // library refuses.
  void convert(Direction direction, Precision precision, double* real, double* imag, int width, int height,
               int planes) const;

 private:
  template <typename Function>
  Function* look_up(const char* name) const;

  platform::SharedLibrary library_;
  decltype(KyvMathInitialize)* initialize_;
  decltype(KyvMathTerminate)* terminate_;
  decltype(KyvMathResize)* resize_;
  decltype(KyvMathResizeWithRegion)* resize_region_;
  decltype(KyvMathConvertOtfFromPsf)* otf_from_psf_;
  decltype(KyvMathConvertPsfFromOtf)* psf_from_otf_;
  decltype(KyvMathConvertOtfFromPsf_D)* otf_from_psf_double_;
  decltype(KyvMathConvertPsfFromOtf_D)* psf_from_otf_double_;
};

}  // namespace kyv::host
