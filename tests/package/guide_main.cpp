// What the guide promises about its fragments.
#include <cstdio>
#include <random>

namespace {

int failures = 0;

void expect(bool good, const char* what) {
  if (good) return;
  std::printf("FAILED: %s\n", what);
  ++failures;
}

template <class Sample>
std::vector<Sample> noise(std::size_t count) {
  std::mt19937 engine(7);
  std::vector<Sample> samples(count);
  for (Sample& sample : samples) sample = static_cast<Sample>(engine());
  return samples;
}

template <class Sample>
int largest_difference(const std::vector<Sample>& a, const std::vector<Sample>& b) {
  int worst = 0;
  for (std::size_t k = 0; k < a.size(); ++k) worst = std::max(worst, std::abs(int{a[k]} - int{b[k]}));
  return worst;
}

void check_linear_light() {
  std::vector<std::uint8_t> board(64 * 64), small;
  for (int k = 0; k < 64 * 64; ++k) board[k] = (k / 64 + k) % 2 ? 255 : 0;
  expect(bool(resize_in_linear_light(Mode::super, board, 64, 64, small, 8, 8, 1)), "linear light");
  expect(small[27] == 188, "a checkerboard's light is 188");
  std::vector<std::uint8_t> naive(64);
  expect(bool(kyvmath::resize(Mode::super, ImageView(board.data(), 64, 64, 1),
                              ImageView(naive.data(), 8, 8, 1))) &&
             naive[27] == 128,
         "a checkerboard's mean is 128");
}

void check_alpha() {
  // Opaque red beside transparent green: no green may appear.
  std::vector<std::uint8_t> picture(32 * 32 * 4, 0), result;
  for (int k = 0; k < 32 * 32; ++k) {
    const bool opaque = k % 32 < 16;
    picture[4 * k] = opaque ? 255 : 0;
    picture[4 * k + 1] = opaque ? 0 : 255;
    picture[4 * k + 3] = opaque ? 255 : 0;
  }
  expect(bool(resize_rgba(Mode::lanczos, picture, 32, 32, result, 21, 21)), "alpha");
  for (std::size_t k = 0; k < result.size(); k += 4) {
    expect(result[k + 1] == 0, "no green bleeds in");
    expect(result[k + 3] == 0 || result[k] == 255, "red stays pure");
  }
}

template <class Sample>
void check_tiles(Mode mode, int width, int height, int channels, int dst_width, int dst_height, int tile) {
  auto picture = noise<Sample>(static_cast<std::size_t>(width) * height * channels);
  std::vector<Sample> whole(static_cast<std::size_t>(dst_width) * dst_height * channels), tiled(whole.size());
  const ImageView<const Sample> src(picture.data(), width, height, channels);
  const ImageView at_once(whole.data(), dst_width, dst_height, channels);
  const ImageView by_tiles(tiled.data(), dst_width, dst_height, channels);
  expect(bool(kyvmath::resize(mode, src, at_once)) && bool(resize_in_tiles(mode, src, by_tiles, tile)),
         "tiles");
  expect(largest_difference(whole, tiled) <= 1, "tiles equal the whole within 1");
  std::fill(tiled.begin(), tiled.end(), Sample{0});
  expect(resize_on_all_cores(mode, src, by_tiles, 3), "threads");
  expect(largest_difference(whole, tiled) <= 1, "strips equal the whole within 1");
}

void check_tiling() {
  for (const Mode mode : {Mode::linear, Mode::cubic, Mode::super, Mode::lanczos}) {
    check_tiles<std::uint8_t>(mode, 300, 240, 3, 100, 80, 50);
    check_tiles<std::uint16_t>(mode, 300, 210, 1, 200, 140, 64);
    check_tiles<std::uint16_t>(mode, 280, 210, 4, 40, 30, 70);
    if (mode == Mode::super) continue;
    check_tiles<std::uint16_t>(mode, 90, 75, 3, 270, 225, 20);
    check_tiles<std::uint8_t>(mode, 90, 75, 4, 120, 100, 33);
  }
}

void check_psf() {
  const int columns = 12, rows = 8;
  std::vector<double> psf(columns * rows), real, imag;
  psf[(rows / 2) * columns + columns / 2] = 0.5;
  psf[(rows / 2) * columns + columns / 2 - 1] = 0.25;
  psf[(rows / 2) * columns + columns / 2 + 1] = 0.25;
  expect(otf_of_centred_psf(psf, columns, rows, real, imag), "otf");
  for (int k = 0; k < columns * rows; ++k) {
    const double expected = 0.5 + 0.5 * std::cos(2 * 3.141592653589793 * (k % columns) / columns);
    expect(std::abs(real[k] - expected) < 1e-14 && std::abs(imag[k]) < 1e-14, "the OTF of three taps");
  }
}

}  // namespace

int main() {
  expect(!library_works(), "not before the session");
  const kyvmath::Session session;
  expect(library_works(), "works in the session");
  expect(mode_for_photograph(4000, 3000, 400, 300) == Mode::super, "thumbnail");
  check_linear_light();
  check_alpha();
  check_tiling();
  check_psf();
  return failures == 0 ? 0 : 1;
}
