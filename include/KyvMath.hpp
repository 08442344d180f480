// KyvMath for C++17 and later: image views, typed results and a session, over the C interface.
//
// Header-only and free of exceptions and allocations; link with the library as for KyvMath.h.
//
//   kyvmath::Session session;
//   const auto result = kyvmath::resize(kyvmath::Mode::lanczos,
//                                       kyvmath::ImageView(src.data(), 640, 480, 3),
//                                       kyvmath::ImageView(dst.data(), 320, 240, 3));
//   if (!result) std::puts(result.message());
#ifndef KYVMATH_HPP
#define KYVMATH_HPP

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "KyvMath.h"

namespace kyvmath {

enum class Status : unsigned {
  ok = KYVMATH_OK,
  resize_failed = KYVMATH_RESIZE_FAILED,
  failed = KYVMATH_FAILED,
  not_initialized = KYVMATH_NOT_INITIALIZED,
  bad_argument = KYVMATH_BAD_ARGUMENT
};

// What a call answered: true in a condition when it succeeded.
class [[nodiscard]] Result {
 public:
  constexpr explicit Result(KyvMathStatusCode code) noexcept : status_(static_cast<Status>(code)) {}
  constexpr explicit Result(Status status) noexcept : status_(status) {}

  constexpr explicit operator bool() const noexcept { return status_ == Status::ok; }
  constexpr Status status() const noexcept { return status_; }

  constexpr const char* message() const noexcept {
    switch (status_) {
      case Status::ok:
        return "done";
      case Status::resize_failed:
        return "the resize was rejected or ran out of memory";
      case Status::failed:
        return "out of memory";
      case Status::not_initialized:
        return "the library is not initialised";
      case Status::bad_argument:
        return "a pointer is null, a size is zero or two views do not match";
    }
    return "unknown status";
  }

 private:
  Status status_;
};

// Initialises the library for as long as the object lives. Have one per process, made before other threads
// use the library and destroyed after they have stopped.
class Session {
 public:
  Session() noexcept : result_(KyvMathInitialize()) {}
  ~Session() { KyvMathTerminate(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  constexpr Result result() const noexcept { return result_; }

 private:
  Result result_;
};

enum class Mode : unsigned {
  nearest = KYVMATH_NEAREST,
  linear = KYVMATH_LINEAR,
  cubic = KYVMATH_CUBIC,
  super = KYVMATH_SUPER,  // reduction only
  lanczos = KYVMATH_LANCZOS
};

// A rectangle in pixels.
struct Rect {
  int x;
  int y;
  int width;
  int height;
};

// Somebody else's interleaved pixels, as std::span is somebody else's elements. Sample is std::uint8_t or
// std::uint16_t, const for a source.
template <class Sample>
class ImageView {
  using Value = std::remove_const_t<Sample>;
  using Byte = std::conditional_t<std::is_const_v<Sample>, const unsigned char, unsigned char>;
  static_assert(std::is_same_v<Value, std::uint8_t> || std::is_same_v<Value, std::uint16_t>,
                "samples are 8 or 16 bits, unsigned");

 public:
  static constexpr int bits = 8 * static_cast<int>(sizeof(Sample));

  // `channels` is 1, 3 or 4. `step` is the distance between the starts of two rows in bytes; 0 stands for
  // rows without a gap.
  constexpr ImageView(Sample* data, int width, int height, int channels, int step = 0) noexcept
      : data_(data),
        width_(width),
        height_(height),
        channels_(channels),
        step_(step != 0 ? step : width * channels * static_cast<int>(sizeof(Sample))) {}

  // A view that may write serves where one is read.
  template <class Other, class = std::enable_if_t<std::is_same_v<const Other, Sample>>>
  constexpr ImageView(const ImageView<Other>& other) noexcept
      : ImageView(other.data(), other.width(), other.height(), other.channels(), other.step()) {}

  constexpr Sample* data() const noexcept { return data_; }
  constexpr int width() const noexcept { return width_; }
  constexpr int height() const noexcept { return height_; }
  constexpr int channels() const noexcept { return channels_; }
  constexpr int step() const noexcept { return step_; }

  // The first sample of a row, 0 <= y < height().
  Sample* row(int y) const noexcept {
    return reinterpret_cast<Sample*>(reinterpret_cast<Byte*>(data_) + static_cast<std::ptrdiff_t>(y) * step_);
  }

  // The part of this image inside `rect`, which must lie within it. Resizing the crop replicates the crop's
  // edge; so does resizing the region.
  ImageView crop(const Rect& rect) const noexcept {
    return ImageView(row(rect.y) + static_cast<std::ptrdiff_t>(rect.x) * channels_, rect.width, rect.height,
                     channels_, step_);
  }

 private:
  Sample* data_;
  int width_;
  int height_;
  int channels_;
  int step_;
};

// Fills `dst` from `region` of `src`. Views with different channels answer Status::bad_argument.
template <class Src, class Dst>
Result resize(Mode mode, ImageView<Src> src, const Rect& region, ImageView<Dst> dst) noexcept {
  static_assert(!std::is_const_v<Dst>, "the destination is written");
  static_assert(std::is_same_v<std::remove_const_t<Src>, Dst>, "source and destination have one sample type");
  if (src.channels() != dst.channels()) return Result(Status::bad_argument);
  return Result(KyvMathResizeWithRegion(static_cast<unsigned>(mode), src.channels(), ImageView<Src>::bits,
                                        src.data(), src.width(), src.height(), src.step(), region.x, region.y,
                                        region.width, region.height, dst.data(), dst.width(), dst.height(),
                                        dst.step()));
}

// Fills `dst` from the whole of `src`.
template <class Src, class Dst>
Result resize(Mode mode, ImageView<Src> src, ImageView<Dst> dst) noexcept {
  return resize(mode, src, Rect{0, 0, src.width(), src.height()}, dst);
}

// Extents of a stack of planes, as the conversions take them.
struct PlaneShape {
  int width;
  int height;
  int planes;

  // For row-major pictures: the conversions then give their textbook two-dimensional transform.
  static constexpr PlaneShape of_pictures(int columns, int rows, int planes = 1) noexcept {
    return {rows, columns, planes};
  }
};

// Real and imaginary parts of a plane stack, planes * width * height doubles each.
struct ConstPlanes {
  const double* real;
  const double* imag;
};
struct Planes {
  double* real;
  double* imag;
  constexpr operator ConstPlanes() const noexcept { return {real, imag}; }
};

enum class Precision { single_, double_ };

// Forward transform. `src` and `dst` may be the same arrays.
inline Result otf_from_psf(Precision precision, ConstPlanes src, Planes dst, PlaneShape shape) noexcept {
  const auto convert =
      precision == Precision::single_ ? KyvMathConvertOtfFromPsf : KyvMathConvertOtfFromPsf_D;
  return Result(convert(src.real, src.imag, dst.real, dst.imag, shape.width, shape.height, shape.planes));
}

// Backward transform, scaled by 1 / (width * height).
inline Result psf_from_otf(Precision precision, ConstPlanes src, Planes dst, PlaneShape shape) noexcept {
  const auto convert =
      precision == Precision::single_ ? KyvMathConvertPsfFromOtf : KyvMathConvertPsfFromOtf_D;
  return Result(convert(src.real, src.imag, dst.real, dst.imag, shape.width, shape.height, shape.planes));
}

}  // namespace kyvmath

#endif  // KYVMATH_HPP
