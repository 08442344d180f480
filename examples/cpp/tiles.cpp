// Doubles a 16-bit grey picture twice: at once, and strip by strip with overlap as a host does whose picture
// does not fit in memory. Prints the largest difference between the two and writes the first as doubled.pgm.
#include <KyvMath.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kWidth = 300, kHeight = 200, kFactor = 2, kStrip = 64;
constexpr int kOverlap = 4;  // source rows; Lanczos reaches 3

using Pixels = std::vector<std::uint16_t>;

kyvmath::ImageView<std::uint16_t> view(Pixels& pixels, int width, int height) {
  return {pixels.data(), width, height, 1};
}

Pixels rings() {
  Pixels pixels(kWidth * kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) pixels[y * kWidth + x] = static_cast<std::uint16_t>((x * x + y * y) * 8);
  }
  return pixels;
}

bool double_by_strips(kyvmath::ImageView<std::uint16_t> src, kyvmath::ImageView<std::uint16_t> dst) {
  Pixels strip(kWidth * kFactor * (kStrip + 2 * kOverlap) * kFactor);
  for (int top = 0; top < kHeight; top += kStrip) {
    const int bottom = std::min(top + kStrip, kHeight);
    const int first = std::max(top - kOverlap, 0);  // the strip with its overlap
    const int last = std::min(bottom + kOverlap, kHeight);
    const auto out = view(strip, kWidth * kFactor, (last - first) * kFactor);
    const auto result = kyvmath::resize(kyvmath::Mode::lanczos, src, {0, first, kWidth, last - first}, out);
    if (!result) {
      std::fprintf(stderr, "%s\n", result.message());
      return false;
    }
    for (int y = top * kFactor; y < bottom * kFactor; ++y) {
      std::copy_n(out.row(y - first * kFactor), out.width(), dst.row(y));
    }
  }
  return true;
}

}  // namespace

int main() {
  const kyvmath::Session session;
  Pixels source = rings();
  Pixels whole(source.size() * kFactor * kFactor), tiled(whole.size());
  const auto src = view(source, kWidth, kHeight);
  const auto dst = view(whole, kWidth * kFactor, kHeight * kFactor);
  if (const auto result = kyvmath::resize(kyvmath::Mode::lanczos, src, dst); !result) {
    std::fprintf(stderr, "%s\n", result.message());
    return EXIT_FAILURE;
  }
  if (!double_by_strips(src, view(tiled, dst.width(), dst.height()))) return EXIT_FAILURE;

  int worst = 0;
  for (std::size_t k = 0; k < whole.size(); ++k) worst = std::max(worst, std::abs(whole[k] - tiled[k]));
  std::printf("largest difference between whole and strips: %d of 65535\n", worst);

  std::FILE* file = std::fopen("doubled.pgm", "wb");
  if (file == nullptr) return EXIT_FAILURE;
  std::fprintf(file, "P5\n%d %d\n65535\n", dst.width(), dst.height());
  for (const std::uint16_t sample : whole) {  // the file wants the high byte first
    std::fputc(sample >> 8, file);
    std::fputc(sample & 0xFF, file);
  }
  std::fclose(file);
  return worst <= 1 ? EXIT_SUCCESS : EXIT_FAILURE;
}
