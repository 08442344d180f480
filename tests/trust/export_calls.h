// Calls of the six working exports on fixed input: every mode, format, direction and kind of length, small.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "KyvMath.h"

namespace kyv::trust {

using Bytes = std::vector<std::uint8_t>;

// What every byte of a destination holds before a call.
inline constexpr std::uint8_t kUntouched = 0xA5;

struct Resize {
  unsigned mode;
  int channels;
  int bits;
  bool by_region;
  int dst_width;
  int dst_height;
};

struct Conversion {
  KyvMathConvertFn function;
  bool single;
  int width;
  int height;
  int planes;
  double amplitude;  // of the input; may be below the smallest normal number
};

// One call with its input, and room for its output. Running it needs no memory of the test's own and no
// arithmetic, so that it can be done in any floating-point environment.
class ExportCall {
 public:
  explicit ExportCall(const Resize& resize);
  explicit ExportCall(const Conversion& conversion);

  KyvMathStatusCode run() { return is_resize_ ? run_resize() : run_conversion(); }

  void clear_output();  // every byte kUntouched again
  const Bytes& output() const { return output_; }
  bool untouched() const;

  const std::string& name() const { return name_; }
  bool is_resize() const { return is_resize_; }
  unsigned mode() const { return resize_.mode; }
  int planes() const { return conversion_.planes; }

  // `healthy`, the output of a good run, with plane p of a conversion replaced by its input as it is copied
  // out when it cannot be transformed.
  Bytes with_plane_copied(const Bytes& healthy, int plane) const;

 private:
  KyvMathStatusCode run_resize();
  KyvMathStatusCode run_conversion();

  std::string name_;
  bool is_resize_;
  Resize resize_{};
  Conversion conversion_{};
  Bytes source_;
  Bytes output_;
  std::size_t src_step_ = 0;
  std::size_t dst_step_ = 0;
};

// About a hundred and fifty calls; whoever has the same index runs the same call.
std::vector<ExportCall> all_export_calls();

// FNV-1a, continued from `hash`.
std::uint64_t hash_of(const Bytes& bytes, std::uint64_t hash = 0xCBF29CE484222325u);

}  // namespace kyv::trust
