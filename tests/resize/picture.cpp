#include "resize/picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <random>

#include "resize/resize_request.h"
#include "thread/thread_context.h"

namespace kyv::test {
namespace {

std::vector<std::uint8_t> packed(const Picture& p) {
  std::vector<std::uint8_t> bytes;
  if (p.bits == 8) {
    for (const std::uint16_t s : p.samples) bytes.push_back(static_cast<std::uint8_t>(s));
    return bytes;
  }
  bytes.resize(p.samples.size() * 2);
  std::memcpy(bytes.data(), p.samples.data(), bytes.size());
  return bytes;
}

void unpack(const std::vector<std::uint8_t>& bytes, Picture& p) {
  if (p.bits == 8) {
    p.samples.assign(bytes.begin(), bytes.end());
    return;
  }
  p.samples.resize(bytes.size() / 2);
  std::memcpy(p.samples.data(), bytes.data(), bytes.size());
}

}  // namespace

void PrintTo(const Picture& p, std::ostream* out) {
  *out << p.width << 'x' << p.height << ", " << p.channels << " channels, " << p.bits << " bits:";
  for (std::size_t k = 0; k < std::min<std::size_t>(p.samples.size(), 24); ++k) *out << ' ' << p.samples[k];
}

Picture noise(std::int32_t width, std::int32_t height, int bits, int channels, std::uint32_t seed) {
  std::mt19937 random(seed);
  return make_picture(width, height, bits, channels, [&](auto...) { return random() >> 8; });
}

Picture crop(const Picture& source, const reference::Rect& r) {
  return make_picture(r.width, r.height, source.bits, source.channels,
                      [&](std::int32_t x, std::int32_t y, int c) { return source.at(r.x + x, r.y + y, c); });
}

Picture resized(const Picture& source, int mode, std::int32_t width, std::int32_t height,
                const runtime::KernelSet& kernels) {
  return resized(source, {0, 0, source.width, source.height}, mode, width, height, kernels);
}

Picture resized(const Picture& source, const reference::Rect& region, int mode, std::int32_t width,
                std::int32_t height, const runtime::KernelSet& kernels) {
  const std::int32_t pixel_bytes = source.channels * source.bits / 8;
  const std::vector<std::uint8_t> src = packed(source);
  std::vector<std::uint8_t> dst(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                                static_cast<std::size_t>(pixel_bytes));
  const resize::ResizeRequest request{mode,
                                      source.channels,
                                      source.bits,
                                      src.data(),
                                      source.width,
                                      source.height,
                                      source.width * pixel_bytes,
                                      region.x,
                                      region.y,
                                      region.width,
                                      region.height,
                                      dst.data(),
                                      width,
                                      height,
                                      width * pixel_bytes};
  const int result = resize::run_resize_request(request, kernels);
  thread::release_thread_context();
  EXPECT_EQ(result, 0) << "mode " << mode << ", " << source.width << 'x' << source.height << " -> " << width
                       << 'x' << height;
  if (result != 0) return {};
  Picture p{width, height, source.bits, source.channels};
  unpack(dst, p);
  return p;
}

int largest_difference(const Picture& a, const Picture& b) {
  EXPECT_EQ(a.samples.size(), b.samples.size());
  int largest = 0;
  for (std::size_t k = 0; k < std::min(a.samples.size(), b.samples.size()); ++k) {
    largest = std::max(largest, std::abs(int{a.samples[k]} - int{b.samples[k]}));
  }
  return largest;
}

}  // namespace kyv::test
