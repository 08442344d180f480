#include "deconvolution.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "error.h"
#include "geometry.h"

namespace kyv::host {
namespace {

constexpr int kLeastFade = 16;
// The share of a picture's variance with which the estimate comes near the ratio that serves best: within
// 0.3 dB on pictures of overlapping disks, with noise from rounding alone to a deviation of 4.
constexpr double kShareOfDetail = 0.15;

// How often the picture's surroundings are estimated anew; more gains little.
constexpr int kRounds = 12;

// The power spectrum of photographs falls with the square of the frequency (D. J. Field, "Relations between
// the statistics of natural images and the response properties of cortical cells", J. Opt. Soc. Am. A 4,
// 1987), below this one, in cycles per pixel, no more.
constexpr double kLevelBelow = 0.02;

// Where a frame position of one axis takes its samples: two mirrored positions and the share of the second.
// As far as the PSF reaches beyond an edge the picture is mirrored there; in between, one mirror image fades
// into the other, because the transform joins the frame's ends.
struct Blend {
  int first = 0;
  int second = 0;
  double share = 0;
};

int mirrored(int position, int size) {
  const int period = 2 * size;
  const int wrapped = (position % period + period) % period;
  return wrapped < size ? wrapped : period - 1 - wrapped;
}

std::vector<Blend> blends(int size, int frame, int reach) {
  std::vector<Blend> result;
  const int fade_start = size + reach;
  const double fade_length = frame - size - 2 * reach;
  for (int i = 0; i < frame; ++i) {
    if (i < size) {
      result.push_back({i, i, 0});
      continue;
    }
    const double share = std::clamp((i - fade_start + 0.5) / fade_length, 0.0, 1.0);
    result.push_back({mirrored(i, size), mirrored(i - frame, size), share});
  }
  return result;
}

// A quick length that holds the picture, the reach of the PSF on both sides and the fade.
int frame_length(int size, int psf_size) {
  return quick_length(size + 2 * (psf_size / 2) + std::max(psf_size, kLeastFade));
}

struct Frame {
  Size size;
  Size reach;  // of the PSF beyond each edge
};

// Fills real or imaginary parts of the frame with one channel of the picture.
void spread(const Image& image, int channel, const Frame& layout, std::vector<double>& frame) {
  const std::vector<Blend> columns = blends(image.width(), layout.size.width, layout.reach.width);
  const std::vector<Blend> rows = blends(image.height(), layout.size.height, layout.reach.height);
  const auto along_row = [&](int y, const Blend& b) {
    const double first = image.sample(b.first, y, channel);
    return b.share == 0 ? first : first + b.share * (image.sample(b.second, y, channel) - first);
  };
  auto out = frame.begin();
  for (const Blend& row : rows) {
    for (const Blend& column : columns) {
      const double first = along_row(row.first, column);
      *out++ = row.share == 0 ? first : first + row.share * (along_row(row.second, column) - first);
    }
  }
}

void gather(const std::vector<double>& frame, int frame_width, int channel, Image& image) {
  const double largest = image.format().max_sample();
  for (int y = 0; y < image.height(); ++y) {
    const double* row = frame.data() + static_cast<std::ptrdiff_t>(y) * frame_width;
    for (int x = 0; x < image.width(); ++x) {
      image.set_sample(x, y, channel, static_cast<int>(std::lround(std::clamp(row[x], 0.0, largest))));
    }
  }
}

// The OTF of one plane of the PSF in a frame of the given size, its centre at the origin.
ComplexPlanes otf_in_frame(const Library& library, const ComplexPlanes& psf, int plane, Size size,
                           Precision precision) {
  const auto [width, height] = size;
  ComplexPlanes otf(width, height, 1);
  for (int y = 0; y < psf.height; ++y) {
    for (int x = 0; x < psf.width; ++x) {
      const int to_x = (x - psf.width / 2 + width) % width;
      const int to_y = (y - psf.height / 2 + height) % height;
      otf.real[otf.index(to_x, to_y, 0)] = psf.real[psf.index(x, y, plane)];
    }
  }
  library.convert(Direction::kOtfFromPsf, precision, otf.real.data(), otf.imag.data(), width, height, 1);
  return otf;
}

void multiply(ComplexPlanes& frame, const ComplexPlanes& by) {
  for (std::size_t i = 0; i < frame.real.size(); ++i) {
    const double real = frame.real[i];
    const double imag = frame.imag[i];
    frame.real[i] = real * by.real[i] - imag * by.imag[i];
    frame.imag[i] = real * by.imag[i] + imag * by.real[i];
  }
}

// The ratio of the powers of noise and signal by frequency: white noise beside a photograph, whose ratio over
// all frequencies is `snr`.
class NoiseToSignal {
 public:
  NoiseToSignal(double snr, const Frame& layout)
      : columns_(squared_frequencies(layout.size.width)), rows_(squared_frequencies(layout.size.height)) {
    for (double& row : rows_) row += kLevelBelow * kLevelBelow;
    double power = 0;
    for (const double row : rows_) {
      for (const double column : columns_) power += 1 / (row + column);
    }
    scale_ = power / (snr * static_cast<double>(rows_.size()) * static_cast<double>(columns_.size()));
  }

  double at(int u, int v) const {
    return scale_ * (columns_[static_cast<std::size_t>(u)] + rows_[static_cast<std::size_t>(v)]);
  }

 private:
  static std::vector<double> squared_frequencies(int size) {
    std::vector<double> result;
    for (int i = 0; i < size; ++i)
      result.push_back(std::pow(static_cast<double>(std::min(i, size - i)) / size, 2));
    return result;
  }

  std::vector<double> columns_;
  std::vector<double> rows_;
  double scale_ = 0;
};

// Wiener's filter for this OTF, scaled to keep the mean.
void multiply_by_wiener(ComplexPlanes& frame, const ComplexPlanes& otf, const NoiseToSignal& noise) {
  const double mean_gain = 1 + noise.at(0, 0);
  std::size_t i = 0;
  for (int v = 0; v < frame.height; ++v) {
    for (int u = 0; u < frame.width; ++u, ++i) {
      const double real = frame.real[i];
      const double imag = frame.imag[i];
      const double power = otf.real[i] * otf.real[i] + otf.imag[i] * otf.imag[i];
      const double gain = mean_gain / (power + noise.at(u, v));
      frame.real[i] = (real * otf.real[i] + imag * otf.imag[i]) * gain;
      frame.imag[i] = (imag * otf.real[i] - real * otf.imag[i]) * gain;
    }
  }
}

// One job of filtering: all that stays the same for its channels.
struct Filtering {
  const Library& library;
  Precision precision;
  std::optional<NoiseToSignal> noise;  // deblur; else blur

  void transform(ComplexPlanes& frame, Direction direction) const {
    library.convert(direction, precision, frame.real.data(), frame.imag.data(), frame.width, frame.height, 1);
  }
};

// Fills what lies around the picture with what the estimate, blurred, shows there, and takes one step further
// in the direction of the change since the last round (Nesterov's momentum). `seen` holds the blurred
// estimate and becomes the next frame; `last` is the one of the round before.
void extrapolate(std::vector<double>& seen, std::vector<double>& last, double momentum) {
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const double now = seen[i];
    seen[i] += momentum * (now - last[i]);
    last[i] = now;
  }
}

void put_picture(const Image& image, int channel, std::vector<double>& frame, int frame_width) {
  for (int y = 0; y < image.height(); ++y) {
    double* row = frame.data() + static_cast<std::ptrdiff_t>(y) * frame_width;
    for (int x = 0; x < image.width(); ++x) row[x] = image.sample(x, y, channel);
  }
}

// The transform of the sharp picture. What lay beyond the edges has a share in what is seen within them, but
// was not recorded: mirror images are only a first guess. The sharp estimate that follows from the guess is
// blurred again and its surroundings replace the guess, round by round (expectation maximisation with the
// surroundings as missing data), until both agree.
void deblur_spectrum(const Filtering& filtering, const Image& image, const std::vector<int>& channels,
                     const ComplexPlanes& otf, ComplexPlanes& frame) {
  multiply_by_wiener(frame, otf, *filtering.noise);
  ComplexPlanes last(frame.width, frame.height, 1);
  double pace = 1;
  for (int round = 0; round < kRounds; ++round) {
    multiply(frame, otf);
    filtering.transform(frame, Direction::kPsfFromOtf);
    const double next_pace = (1 + std::sqrt(1 + 4 * pace * pace)) / 2;
    const double momentum = round == 0 ? 0 : (pace - 1) / next_pace;
    if (round > 0) pace = next_pace;
    extrapolate(frame.real, last.real, momentum);
    put_picture(image, channels[0], frame.real, frame.width);
    if (channels.size() > 1) {
      extrapolate(frame.imag, last.imag, momentum);
      put_picture(image, channels[1], frame.imag, frame.width);
    } else {
      std::ranges::fill(frame.imag, 0.0);
    }
    filtering.transform(frame, Direction::kOtfFromPsf);
    multiply_by_wiener(frame, otf, *filtering.noise);
  }
}

// Filters one or two channels: one as real, one as imaginary parts, which a filter whose impulse response is
// real never mixes.
void filter_channels(const Filtering& filtering, const Image& image, const std::vector<int>& channels,
                     const Frame& layout, const ComplexPlanes& otf, Image& result) {
  ComplexPlanes frame(otf.width, otf.height, 1);
  spread(image, channels[0], layout, frame.real);
  if (channels.size() > 1) spread(image, channels[1], layout, frame.imag);
  filtering.transform(frame, Direction::kOtfFromPsf);
  if (filtering.noise) {
    deblur_spectrum(filtering, image, channels, otf, frame);
  } else {
    multiply(frame, otf);
  }
  filtering.transform(frame, Direction::kPsfFromOtf);
  gather(frame.real, frame.width, channels[0], result);
  if (channels.size() > 1) gather(frame.imag, frame.width, channels[1], result);
}

// Channels that share a filter, two at a time.
std::vector<std::vector<int>> channel_groups(int channels, bool one_filter) {
  if (channels == 1) return {{0}};
  if (one_filter) return {{0, 1}, {2}};
  return {{0}, {1}, {2}};
}

Image filtered(const Library& library, const Image& image, const ComplexPlanes& psf,
               std::optional<double> snr, Precision precision) {
  const int colours = std::min(image.format().channels, 3);
  if (psf.planes != 1 && psf.planes != colours) {
    throw Error("the point-spread function has " + std::to_string(psf.planes) + " planes, the picture " +
                std::to_string(colours) + "; one plane serves every picture");
  }
  const Frame layout{{frame_length(image.width(), psf.width), frame_length(image.height(), psf.height)},
                     {psf.width / 2, psf.height / 2}};
  Filtering filtering{library, precision, std::nullopt};
  if (snr) filtering.noise.emplace(*snr, layout);

  Image result = image.copy();
  ComplexPlanes otf;
  int otf_plane = -1;
  for (const std::vector<int>& group : channel_groups(colours, psf.planes == 1)) {
    const int plane = psf.planes == 1 ? 0 : group[0];
    if (plane != otf_plane) otf = otf_in_frame(library, psf, plane, layout.size, precision);
    otf_plane = plane;
    filter_channels(filtering, image, group, layout, otf, result);
  }
  return result;
}

// The standard deviation of the noise, in samples: the median size of a mixed second difference, in which
// smooth parts and straight edges vanish, against that of white noise of deviation 1. (The mask's weights, 1
// -2 1 times 1 -2 1, have a norm of 6; the median of |N(0, 1)| is 0.6745.)
double noise_deviation(const Image& image, int channel) {
  constexpr double kMedianOfUnitNoise = 6 * 0.6745;
  std::vector<int> sizes;
  const auto second = [&](int x, int y) {
    return image.sample(x - 1, y, channel) - 2 * image.sample(x, y, channel) +
           image.sample(x + 1, y, channel);
  };
  for (int y = 1; y + 1 < image.height(); ++y) {
    for (int x = 1; x + 1 < image.width(); ++x) {
      sizes.push_back(std::abs(second(x, y - 1) - 2 * second(x, y) + second(x, y + 1)));
    }
  }
  if (sizes.empty()) return 0;
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::ranges::nth_element(sizes, middle);
  return *middle / kMedianOfUnitNoise;
}

double variance(const Image& image, int channel) {
  double sum = 0;
  double squares = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const double value = image.sample(x, y, channel);
      sum += value;
      squares += value * value;
    }
  }
  const double count = static_cast<double>(image.width()) * image.height();
  return squares / count - sum / count * (sum / count);
}

}  // namespace

int quick_length(int size) {
  for (int n = size;; ++n) {
    int rest = n;
    for (const int factor : {2, 3, 5, 7}) {
      while (rest % factor == 0) rest /= factor;
    }
    if (rest == 1) return n;
  }
}

double estimated_snr(const Image& image) {
  // Rounding to whole numbers is noise, too.
  constexpr double kVarianceOfRounding = 1.0 / 12;
  double signal = 0;
  double noise = 0;
  for (int c = 0; c < std::min(image.format().channels, 3); ++c) {
    signal += variance(image, c);
    noise += std::max(std::pow(noise_deviation(image, c), 2), kVarianceOfRounding);
  }
  return std::max(1.0, kShareOfDetail * signal / noise);
}

Image blur(const Library& library, const Image& image, const ComplexPlanes& psf, Precision precision) {
  return filtered(library, image, psf, std::nullopt, precision);
}

Image deblur(const Library& library, const Image& image, const ComplexPlanes& psf, double snr,
             Precision precision) {
  return filtered(library, image, psf, snr, precision);
}

}  // namespace kyv::host
