// The numbers of the C interface, one line each, through KyvMath.hpp. The probes of the other languages must
// print the same lines: a picture that a formula gives, resized in all formats; a stack of planes,
// transformed; the texts of the statuses.
#include <KyvMath.hpp>

#include <cstdio>
#include <vector>

namespace {

constexpr int kColumns = 61, kRows = 47;

// FNV-1a, 32 bits.
template <class Value>
unsigned hash_of(const std::vector<Value>& values) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(values.data());
  unsigned hash = 2166136261u;
  for (std::size_t k = 0; k < values.size() * sizeof(Value); ++k) hash = (hash ^ bytes[k]) * 16777619u;
  return hash;
}

template <class Sample>
void probe_resize(kyvmath::Mode mode, int channels, kyvmath::Rect region, int width, int height) {
  std::vector<Sample> picture(kColumns * kRows * channels), result(width * height * channels);
  for (unsigned k = 0; k < picture.size(); ++k) picture[k] = static_cast<Sample>(k * k * 7 + k * 31);
  const auto outcome = kyvmath::resize(mode, kyvmath::ImageView(picture.data(), kColumns, kRows, channels),
                                       region, kyvmath::ImageView(result.data(), width, height, channels));
  std::printf("resize %u %d %d %d %d %d: %u %08x\n", static_cast<unsigned>(mode), channels,
              8 * static_cast<int>(sizeof(Sample)), region.x, width, height,
              static_cast<unsigned>(outcome.status()), hash_of(result));
}

template <class Sample>
void probe_resizes() {
  for (const auto mode : {kyvmath::Mode::nearest, kyvmath::Mode::linear, kyvmath::Mode::cubic,
                          kyvmath::Mode::super, kyvmath::Mode::lanczos}) {
    for (const int channels : {1, 3, 4}) {
      probe_resize<Sample>(mode, channels, {0, 0, kColumns, kRows}, 30, 20);
      probe_resize<Sample>(mode, channels, {5, 7, 40, 30}, 20, 15);
      probe_resize<Sample>(mode, channels, {5, 7, 40, 30}, 80, 45);
    }
  }
}

void probe_transform(kyvmath::Precision precision) {
  constexpr int columns = 10, rows = 12, planes = 3;
  std::vector<double> real(columns * rows * planes), imag(real.size());
  for (std::size_t k = 0; k < real.size(); ++k) real[k] = static_cast<double>(k * k % 101) / 64;
  const kyvmath::Planes stack{real.data(), imag.data()};
  const auto shape = kyvmath::PlaneShape::of_pictures(columns, rows, planes);
  const char* name = precision == kyvmath::Precision::single_ ? "single" : "double";
  auto outcome = kyvmath::otf_from_psf(precision, stack, stack, shape);
  std::printf("otf %s: %u %08x %08x\n", name, static_cast<unsigned>(outcome.status()), hash_of(real),
              hash_of(imag));
  outcome = kyvmath::psf_from_otf(precision, stack, stack, shape);
  std::printf("psf %s: %u %08x %08x\n", name, static_cast<unsigned>(outcome.status()), hash_of(real),
              hash_of(imag));
}

}  // namespace

int main() {
  const kyvmath::Session session;
  probe_resizes<std::uint8_t>();
  probe_resizes<std::uint16_t>();
  probe_transform(kyvmath::Precision::single_);
  probe_transform(kyvmath::Precision::double_);
  for (const unsigned status : {2u, 10u, 12u, 96u, 7u}) {
    std::printf("status %u: %s\n", status, kyvmath::Result(static_cast<KyvMathStatusCode>(status)).message());
  }
}
