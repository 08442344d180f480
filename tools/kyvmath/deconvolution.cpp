#include "deconvolution.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

#include "error.h"
#include "geometry.h"

namespace kyv::host {
namespace {

constexpr int kLeastFade = 16;

using Filter = std::function<void(double& real, double& imag)>;

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

void copy_channel(const Image& source, int channel, Image& destination) {
  for (int y = 0; y < source.height(); ++y) {
    for (int x = 0; x < source.width(); ++x) {
      destination.set_sample(x, y, channel, source.sample(x, y, channel));
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

// Applies the filter, whose impulse response is real, to one or two channels: one as real, one as imaginary
// parts, which such a filter never mixes.
void filter_channels(const Library& library, const Image& image, const std::vector<int>& channels,
                     const Frame& layout, const ComplexPlanes& filter, Precision precision, Image& result) {
  ComplexPlanes frame(filter.width, filter.height, 1);
  spread(image, channels[0], layout, frame.real);
  if (channels.size() > 1) spread(image, channels[1], layout, frame.imag);
  library.convert(Direction::kOtfFromPsf, precision, frame.real.data(), frame.imag.data(), frame.width,
                  frame.height, 1);
  for (std::size_t i = 0; i < frame.real.size(); ++i) {
    const double real = frame.real[i];
    const double imag = frame.imag[i];
    frame.real[i] = real * filter.real[i] - imag * filter.imag[i];
    frame.imag[i] = real * filter.imag[i] + imag * filter.real[i];
  }
  library.convert(Direction::kPsfFromOtf, precision, frame.real.data(), frame.imag.data(), frame.width,
                  frame.height, 1);
  gather(frame.real, frame.width, channels[0], result);
  if (channels.size() > 1) gather(frame.imag, frame.width, channels[1], result);
}

// Channels that share a filter, two at a time.
std::vector<std::vector<int>> channel_groups(int channels, bool one_filter) {
  if (channels == 1) return {{0}};
  if (one_filter) return {{0, 1}, {2}};
  return {{0}, {1}, {2}};
}

Image filtered(const Library& library, const Image& image, const ComplexPlanes& psf, Precision precision,
               const Filter& to_filter) {
  const int colours = std::min(image.format().channels, 3);
  if (psf.planes != 1 && psf.planes != colours) {
    throw Error("the point-spread function has " + std::to_string(psf.planes) + " planes, the picture " +
                std::to_string(colours) + "; one plane serves every picture");
  }
  const Frame layout{{frame_length(image.width(), psf.width), frame_length(image.height(), psf.height)},
                     {psf.width / 2, psf.height / 2}};

  Image result(image.width(), image.height(), image.format());
  result.metadata = image.metadata;
  ComplexPlanes filter;
  int filter_plane = -1;
  for (const std::vector<int>& group : channel_groups(colours, psf.planes == 1)) {
    const int plane = psf.planes == 1 ? 0 : group[0];
    if (plane != filter_plane) {
      filter = otf_in_frame(library, psf, plane, layout.size, precision);
      for (std::size_t i = 0; i < filter.real.size(); ++i) to_filter(filter.real[i], filter.imag[i]);
      filter_plane = plane;
    }
    filter_channels(library, image, group, layout, filter, precision, result);
  }
  if (image.format().channels == 4) copy_channel(image, 3, result);
  return result;
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

Image blur(const Library& library, const Image& image, const ComplexPlanes& psf, Precision precision) {
  return filtered(library, image, psf, precision, [](double&, double&) {});
}

Image deblur(const Library& library, const Image& image, const ComplexPlanes& psf, double snr,
             Precision precision) {
  const double noise = 1 / snr;
  return filtered(library, image, psf, precision, [noise](double& real, double& imag) {
    const double gain = (1 + noise) / (real * real + imag * imag + noise);
    real *= gain;
    imag *= -gain;
  });
}

}  // namespace kyv::host
