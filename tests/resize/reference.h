// A plain resize, one destination sample at a time, that states what every kernel variant must give bit for
// bit. It shares no code with the library. Its sines have 64 bits where long double has them: a weight of the
// library's, whose sine is right to a place or two of a double, is the same float but for about one in 10^8.
#pragma once

#include <cstdint>
#include <vector>

namespace kyv::reference {

struct Rect {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
};

// a*b + c with one rounding to float, on any processor.
float fused_multiply_add(float a, float b, float c) noexcept;

// One call of a primitive; `word` is a mode in effect for large sources, without flags.
struct PrimitiveCall {
  int bits = 8;
  int channels = 1;
  const std::uint8_t* src = nullptr;
  std::int32_t src_width = 0;
  std::int32_t src_height = 0;
  std::int64_t src_step = 0;
  Rect src_roi;
  Rect dst_roi;
  double x_factor = 1.0;
  double y_factor = 1.0;
  double x_shift = 0.0;
  double y_shift = 0.0;
  int mode = 1;
};

struct Result {
  Rect written;                       // empty when nothing is to be written
  std::vector<std::uint8_t> samples;  // rows of `written` without padding
};

Result resize_sqr_pixel(const PrimitiveCall& call);

// The whole request: `region` of the source to dst_width x dst_height. Factors, shifts and dst_roi of `call`
// are not looked at.
Result resize(PrimitiveCall call, std::int32_t dst_width, std::int32_t dst_height);

}  // namespace kyv::reference
