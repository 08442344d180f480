// All cores by calling from several threads: thumbnails of many pictures, with 1, 2, ... threads, and how
// many pictures a second that makes on this machine. The results must be the same bits whatever the number.
#include <KyvMath.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

constexpr int kWidth = 1200, kHeight = 800, kSmallWidth = 300, kSmallHeight = 200, kChannels = 3;
constexpr int kPictures = 16, kRepeats = 5;

using Pixels = std::vector<std::uint8_t>;

Pixels paint(int seed) {
  Pixels pixels(kWidth * kHeight * kChannels);
  for (std::size_t k = 0; k < pixels.size(); ++k) pixels[k] = static_cast<std::uint8_t>(k * (k >> 7) + seed);
  return pixels;
}

// Each thread takes the next picture that nobody has. False when a resize failed.
bool make_thumbnails(std::vector<Pixels>& pictures, std::vector<Pixels>& thumbnails, int threads) {
  std::atomic<std::size_t> next{0};
  std::atomic<bool> good{true};
  const auto work = [&] {
    for (std::size_t k = next++; k < pictures.size(); k = next++) {
      const kyvmath::ImageView src(pictures[k].data(), kWidth, kHeight, kChannels);
      const kyvmath::ImageView dst(thumbnails[k].data(), kSmallWidth, kSmallHeight, kChannels);
      if (!kyvmath::resize(kyvmath::Mode::lanczos, src, dst)) good = false;
    }
  };
  std::vector<std::thread> others;
  for (int k = 1; k < threads; ++k) others.emplace_back(work);
  work();
  for (std::thread& other : others) other.join();
  return good;
}

double best_seconds(std::vector<Pixels>& pictures, std::vector<Pixels>& thumbnails, int threads) {
  double best = 1e9;
  for (int k = 0; k < kRepeats; ++k) {
    const auto start = std::chrono::steady_clock::now();
    if (!make_thumbnails(pictures, thumbnails, threads)) return 0.0;
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

}  // namespace

int main() {
  const kyvmath::Session session;  // before the first thread starts, until the last one has stopped
  std::vector<Pixels> pictures, first;
  for (int k = 0; k < kPictures; ++k) pictures.push_back(paint(k));

  double alone = 0.0;
  const int cores = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  for (int threads = 1; threads <= cores; threads *= 2) {
    std::vector<Pixels> thumbnails(kPictures, Pixels(kSmallWidth * kSmallHeight * kChannels));
    const double seconds = best_seconds(pictures, thumbnails, threads);
    if (seconds == 0.0) return EXIT_FAILURE;
    if (threads == 1) alone = seconds;
    std::printf("%2d threads: %7.0f pictures/s, %.2f times one thread\n", threads, kPictures / seconds,
                alone / seconds);
    if (threads == 1) first = thumbnails;
    if (thumbnails != first) return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
