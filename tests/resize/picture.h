// A picture whose samples are handled as numbers, and a resize of it that must succeed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <vector>

#include "resize/reference.h"
#include "runtime/dispatch.h"

namespace kyv::test {

struct Picture {
  std::int32_t width = 0;
  std::int32_t height = 0;
  int bits = 8;
  int channels = 1;
  std::vector<std::uint16_t> samples{};  // row by row, interleaved

  std::uint16_t at(std::int32_t x, std::int32_t y, int channel) const {
    return samples[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                    static_cast<std::size_t>(x)) *
                       static_cast<std::size_t>(channels) +
                   static_cast<std::size_t>(channel)];
  }
  std::uint32_t limit() const { return bits == 8 ? 255 : 65535; }

  friend bool operator==(const Picture&, const Picture&) = default;
  friend void PrintTo(const Picture& p, std::ostream* out);  // its shape and first samples
};

// sample(x, y, channel) for every sample, kept to the picture's bits.
template <class Sample>
Picture make_picture(std::int32_t width, std::int32_t height, int bits, int channels, const Sample& sample) {
  Picture p{width, height, bits, channels};
  for (std::int32_t y = 0; y < height; ++y) {
    for (std::int32_t x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        p.samples.push_back(
            static_cast<std::uint16_t>(static_cast<std::uint32_t>(sample(x, y, c)) & p.limit()));
      }
    }
  }
  return p;
}

Picture noise(std::int32_t width, std::int32_t height, int bits, int channels, std::uint32_t seed);

Picture crop(const Picture& source, const reference::Rect& region);

// A failed request is a test failure and gives an empty picture.
Picture resized(const Picture& source, int mode, std::int32_t width, std::int32_t height,
                const runtime::KernelSet& kernels);
Picture resized(const Picture& source, const reference::Rect& region, int mode, std::int32_t width,
                std::int32_t height, const runtime::KernelSet& kernels);

// The largest difference of any sample of two pictures of one size.
int largest_difference(const Picture& a, const Picture& b);

}  // namespace kyv::test
