// Source and destination of a fuzzed resize, and the comparison of the result with the reference.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "arena.h"
#include "input.h"
#include "resize/reference.h"

namespace kyv::fuzz {

// What a call says of an image.
struct ImageArguments {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int32_t step = 0;
};

// What the reference takes for a resize of `width` x `height` pixels to `dst_width` x `dst_height`, in
// samples times taps of one channel.
inline std::int64_t work_of(std::uint32_t mode, std::int32_t width, std::int32_t height,
                            std::int32_t dst_width, std::int32_t dst_height) {
  const std::int64_t taps = mode == 1 || mode == 8 ? 1 : mode == 2 ? 2 : mode == 16 ? 6 : 4;
  const std::int64_t row_taps = taps * (1 + width / dst_width);
  const std::int64_t column_taps = taps * (1 + height / dst_height);
  return std::int64_t{dst_width} * height * row_taps + std::int64_t{dst_width} * dst_height * column_taps;
}

// One input in 64 may be a large one.
inline std::int64_t most_work(Input& in) { return in.byte() % 64 == 0 ? 8000000 : 200000; }

// Bytes from the first to the last of an image; more than any arena holds where that is absurd.
inline std::size_t image_bytes(const ImageArguments& image, std::int32_t pixel_bytes) {
  constexpr std::int64_t absurd = std::int64_t{1} << 30;
  if (image.width <= 0 || image.height <= 0 || image.step < 0) return absurd;
  const std::int64_t row = std::int64_t{image.width} * pixel_bytes;
  if (row > absurd) return absurd;
  const std::int64_t rows = std::int64_t{image.height - 1} * image.step;
  return static_cast<std::size_t>(rows > absurd ? absurd : rows + row);
}

// Compares what was written with the reference, then makes it untouched again.
inline void require_written(std::uint8_t* dst, std::int32_t step, std::int32_t pixel_bytes,
                            const reference::Result& expected, const char* variant) {
  const reference::Rect& r = expected.written;
  const auto bytes = static_cast<std::size_t>(r.width * pixel_bytes);
  for (std::int32_t y = 0; y < r.height; ++y) {
    std::uint8_t* const row =
        dst + static_cast<std::ptrdiff_t>(r.y + y) * step + static_cast<std::ptrdiff_t>(r.x) * pixel_bytes;
    const bool same =
        std::memcmp(row, expected.samples.data() + static_cast<std::size_t>(y) * bytes, bytes) == 0;
    require(same, "%s: row %d differs from the reference", variant, static_cast<int>(y));
    std::memset(row, Arena::kUntouched, bytes);
  }
}

}  // namespace kyv::fuzz
