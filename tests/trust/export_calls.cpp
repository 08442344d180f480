#include "trust/export_calls.h"

#include <algorithm>
#include <cstring>

namespace kyv::trust {
namespace {

constexpr int kSrcWidth = 23;
constexpr int kSrcHeight = 17;
constexpr int kRegionX = 3;
constexpr int kRegionY = 2;
constexpr int kRegionWidth = 19;
constexpr int kRegionHeight = 14;

// Both images begin at an odd address, and their steps are odd.
constexpr std::size_t kOffset = 1;

std::size_t odd_step(int width, int channels, int bits) {
  const auto row = static_cast<std::size_t>(width * channels * (bits / 8));
  return row + 1 + row % 2;
}

class Noise {
 public:
  std::uint8_t byte() {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::uint8_t>(state_ >> 56);
  }
  double symmetric() { return (byte() * 256.0 + byte() - 32767.5) / 32768.0; }

 private:
  std::uint64_t state_ = 1;
};

std::string described(const Resize& r) {
  return "mode " + std::to_string(r.mode) + ", " + std::to_string(r.channels) + " x " +
         std::to_string(r.bits) + " bits, to " + std::to_string(r.dst_width) + " x " +
         std::to_string(r.dst_height) + (r.by_region ? " by region" : "");
}

std::string described(const Conversion& c) {
  const bool backward = c.function == KyvMathConvertPsfFromOtf || c.function == KyvMathConvertPsfFromOtf_D;
  return std::string(backward ? "PsfFromOtf" : "OtfFromPsf") + (c.single ? "" : "_D") + " of " +
         std::to_string(c.planes) + " x " + std::to_string(c.width) + " x " + std::to_string(c.height);
}

void add_resizes(std::vector<ExportCall>& calls) {
  for (const unsigned mode : {1u, 2u, 4u, 8u, 16u}) {
    for (const int channels : {1, 3, 4}) {
      for (const int bits : {8, 16}) {
        for (const bool by_region : {false, true}) {
          calls.emplace_back(Resize{mode, channels, bits, by_region, 9, 11});
          if (mode != KYVMATH_SUPER) calls.emplace_back(Resize{mode, channels, bits, by_region, 41, 30});
        }
      }
    }
  }
}

void add_conversions(std::vector<ExportCall>& calls) {
  struct Size {
    int width;
    int height;
    int planes;
    bool denormal = false;
  };
  // Tiny, powers of two, a square with code of its own, small radices, direct odd radices, primes beyond
  // them, one line, a long plan; and two whose values lie below the smallest normal number.
  constexpr Size kSizes[] = {{1, 1, 2},    {2, 3, 3},        {8, 16, 3},      {16, 16, 2}, {30, 45, 2},
                             {31, 29, 2},  {103, 5, 2},      {7, 211, 2},     {1, 96, 2},  {96, 1, 2},
                             {20, 300, 3}, {8, 16, 2, true}, {9, 10, 2, true}};
  for (const Size& s : kSizes) {
    const double wide = s.denormal ? 1e-310 : 0.7;  // no value is a float's
    const double narrow = s.denormal ? 1e-40 : 0.7;
    calls.emplace_back(Conversion{KyvMathConvertOtfFromPsf_D, false, s.width, s.height, s.planes, wide});
    calls.emplace_back(Conversion{KyvMathConvertPsfFromOtf_D, false, s.width, s.height, s.planes, wide});
    calls.emplace_back(Conversion{KyvMathConvertOtfFromPsf, true, s.width, s.height, s.planes, narrow});
    calls.emplace_back(Conversion{KyvMathConvertPsfFromOtf, true, s.width, s.height, s.planes, narrow});
  }
}

}  // namespace

ExportCall::ExportCall(const Resize& resize) : name_(described(resize)), is_resize_(true), resize_(resize) {
  src_step_ = odd_step(kSrcWidth, resize.channels, resize.bits);
  dst_step_ = odd_step(resize.dst_width, resize.channels, resize.bits);
  source_.resize(kOffset + src_step_ * kSrcHeight);
  Noise noise;
  std::generate(source_.begin(), source_.end(), [&] { return noise.byte(); });
  output_.resize(kOffset + dst_step_ * static_cast<std::size_t>(resize.dst_height));
  clear_output();
}

ExportCall::ExportCall(const Conversion& conversion)
    : name_(described(conversion)), is_resize_(false), conversion_(conversion) {
  const auto values = static_cast<std::size_t>(conversion.width * conversion.height * conversion.planes);
  std::vector<double> input(2 * values);
  Noise noise;
  std::generate(input.begin(), input.end(), [&] { return noise.symmetric() * conversion.amplitude; });
  source_.resize(input.size() * sizeof(double));
  std::memcpy(source_.data(), input.data(), source_.size());
  output_.resize(source_.size());
  clear_output();
}

void ExportCall::clear_output() { std::fill(output_.begin(), output_.end(), kUntouched); }

bool ExportCall::untouched() const {
  return std::all_of(output_.begin(), output_.end(), [](std::uint8_t b) { return b == kUntouched; });
}

KyvMathStatusCode ExportCall::run_resize() {
  const Resize& r = resize_;
  const auto src_step = static_cast<int>(src_step_);
  const auto dst_step = static_cast<int>(dst_step_);
  const std::uint8_t* src = source_.data() + kOffset;
  std::uint8_t* dst = output_.data() + kOffset;
  if (r.by_region) {
    return KyvMathResizeWithRegion(r.mode, r.channels, r.bits, src, kSrcWidth, kSrcHeight, src_step, kRegionX,
                                   kRegionY, kRegionWidth, kRegionHeight, dst, r.dst_width, r.dst_height,
                                   dst_step);
  }
  return KyvMathResize(r.mode, r.channels, r.bits, src, kSrcWidth, kSrcHeight, src_step, dst, r.dst_width,
                       r.dst_height, dst_step);
}

KyvMathStatusCode ExportCall::run_conversion() {
  const Conversion& c = conversion_;
  const auto* src = reinterpret_cast<const double*>(source_.data());
  auto* dst = reinterpret_cast<double*>(output_.data());
  const std::size_t imaginary = source_.size() / sizeof(double) / 2;
  return c.function(src, src + imaginary, dst, dst + imaginary, c.width, c.height, c.planes);
}

Bytes ExportCall::with_plane_copied(const Bytes& healthy, int plane) const {
  Bytes bytes = healthy;
  const auto values = static_cast<std::size_t>(conversion_.width * conversion_.height);
  const std::size_t parts[] = {static_cast<std::size_t>(plane), static_cast<std::size_t>(plane + planes())};
  for (const std::size_t part : parts) {
    for (std::size_t i = part * values; i < (part + 1) * values; ++i) {
      double value = 0;
      std::memcpy(&value, source_.data() + i * sizeof value, sizeof value);
      if (conversion_.single) value = static_cast<double>(static_cast<float>(value));
      std::memcpy(bytes.data() + i * sizeof value, &value, sizeof value);
    }
  }
  return bytes;
}

std::vector<ExportCall> all_export_calls() {
  std::vector<ExportCall> calls;
  add_resizes(calls);
  add_conversions(calls);
  return calls;
}

std::uint64_t hash_of(const Bytes& bytes, std::uint64_t hash) {
  for (const std::uint8_t byte : bytes) hash = (hash ^ byte) * 0x100000001B3u;
  return hash;
}

}  // namespace kyv::trust
