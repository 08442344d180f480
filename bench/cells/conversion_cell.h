// One row of the conversion tables, and the planes that it works on.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace kyv::bench {

inline constexpr int kPlanes = 3;

struct ConversionCell {
  int columns = 0;  // contiguous values of a line
  int rows = 0;
  bool single = false;
  bool backward = false;
  bool real = false;  // forward: no imaginary part; backward: the transform of such planes

  std::string name() const;  // "fft 640x480 double", "fft 64x64 float back real"
  double values() const { return static_cast<double>(columns) * rows; }
  bool fits_in_memory() const;  // of a program of this word size, with the library's scratch
};

// Where the planes of a stack begin.
enum class Placement {
  kMalloc,      // where malloc puts them
  kAligned,     // 64 bytes
  kMisaligned,  // 8 bytes behind a multiple of 64
};

// The source and destination of a stack of kPlanes planes, every page touched.
class PlaneArrays {
 public:
  PlaneArrays(const ConversionCell& cell, Placement placement);

  const double* src_real() const { return arrays_[0].data; }
  const double* src_imag() const { return arrays_[1].data; }
  double* dst_real() const { return arrays_[2].data; }
  double* dst_imag() const { return arrays_[3].data; }
  std::size_t values() const { return values_; }  // of each array

  std::vector<double> result() const;  // real parts, then imaginary ones
  void forget_result();
  // Makes what a forward conversion left in the destination the source of a backward one.
  void turn_round();

 private:
  struct Free {
    void operator()(void* p) const noexcept;
  };
  struct Array {
    std::unique_ptr<void, Free> memory;
    double* data = nullptr;
  };

  std::size_t values_;
  Array arrays_[4];
};

}  // namespace kyv::bench
