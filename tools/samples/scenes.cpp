#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>

namespace kyv::samples {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr Colour kInk{0.08, 0.08, 0.1, 1};
constexpr Colour kPaper{0.97, 0.96, 0.92, 1};

// A small generator with a published full period (x 1664525 + 1013904223 modulo 2^32, Knuth/Lewis), so that
// every platform draws the same grass and the same sky. 0 to 1.
class Noise {
 public:
  explicit Noise(std::uint32_t seed) : state_(seed) {}
  double next() {
    state_ = state_ * 1664525u + 1013904223u;
    return (state_ >> 8) / 16777216.0;
  }

 private:
  std::uint32_t state_;
};

double ridge(double x) {
  return 0.30 + 0.06 * std::sin(3 * x + 0.5) + 0.035 * std::sin(9 * x + 2) + 0.012 * std::sin(31 * x);
}

void draw_sky_and_hills(Canvas& canvas) {
  for (int y = 0; y < canvas.height(); ++y) {
    for (int x = 0; x < canvas.width(); ++x) {
      const double u = (x + 0.5) / canvas.height();
      const double v = (y + 0.5) / canvas.height();
      Colour& pixel = canvas.at(x, y);
      pixel = {0.35 + 0.9 * v, 0.55 + 0.7 * v, 0.85 + 0.2 * v, 1};
      if (v > ridge(u)) {
        const double depth = std::min((v - ridge(u)) * 2.5, 1.0);
        pixel = {0.32 - 0.12 * depth, 0.42 + 0.06 * depth, 0.42 - 0.24 * depth, 1};
      }
    }
  }
}

void draw_grass(Canvas& canvas, double scale) {
  Noise noise(20);
  const int blades = 4200;
  for (int i = 0; i < blades; ++i) {
    const double depth = static_cast<double>(i) / blades;
    const double x = noise.next() * canvas.width();
    const double y = canvas.height() * (0.5 + 0.55 * depth);
    const double height = (3 + 12 * depth) * scale;
    const double light = 0.35 + 0.5 * noise.next();
    const Colour colour{0.45 * light, 0.95 * light, 0.25 * light, 0.9};
    canvas.stroke(x, y, x + (noise.next() - 0.5) * height, y - height, (0.5 + 0.7 * depth) * scale, colour);
  }
}

void draw_fence(Canvas& canvas, double scale) {
  for (int post = 0; post < 17; ++post) {
    const double x = (12 + 29 * post) * scale;
    canvas.stroke(x, 186 * scale, x, 222 * scale, 3 * scale, {0.86, 0.82, 0.74, 1});
  }
  for (int rail = 0; rail < 4; ++rail) {
    const double y = (192 + 7 * rail) * scale;
    canvas.stroke(0, y, canvas.width(), y + 3 * scale, 1.1 * scale, {0.92, 0.9, 0.84, 1});
  }
}

void draw_panel(Canvas& canvas, double scale, int x, int y, int width, int height) {
  const auto at = [scale](int n) { return static_cast<int>(std::lround(n * scale)); };
  canvas.fill_rectangle(at(x), at(y), at(width), at(height), kPaper);
}

void draw_text_panel(Canvas& canvas, const Font& font, double scale) {
  const std::string text = "Sphinx of black quartz, judge my vow: 0123456789 (&) @";
  draw_panel(canvas, scale, 12, 236, 216, 114);
  double y = 236;
  for (const double size : {26.0, 19.0, 14.0, 11.0, 9.0, 7.0, 5.5}) {
    std::string line = text;
    while (font.width(size, line) > 204) line.pop_back();
    y += size * 1.12;
    font.draw(canvas, 18 * scale, (y - size * 0.22) * scale, size * scale, line, kInk);
  }
}

void draw_zone_plate_panel(Canvas& canvas, double scale) {
  constexpr double kX = 366;
  constexpr double kY = 248;
  constexpr double kSide = 100;
  const double side = kSide * scale;
  for (int y = 0; y < static_cast<int>(side); ++y) {
    for (int x = 0; x < static_cast<int>(side); ++x) {
      const double dx = x + 0.5 - side / 2;
      const double dy = y + 0.5 - side / 2;
      const double wave = 0.5 + 0.5 * std::cos(kPi * (dx * dx + dy * dy) / (kSide * scale * scale));
      canvas.at(static_cast<int>(kX * scale) + x, static_cast<int>(kY * scale) + y) = {wave, wave, wave, 1};
    }
  }
}

void draw_siemens_star(Canvas& canvas, double scale) {
  constexpr int kSpokes = 36;
  constexpr int kPoints = 6;
  const double radius = 50 * scale;
  const double centre_x = 297 * scale;
  const double centre_y = 298 * scale;
  draw_panel(canvas, scale, 242, 243, 110, 110);
  for (int y = static_cast<int>(centre_y - radius); y <= centre_y + radius; ++y) {
    for (int x = static_cast<int>(centre_x - radius); x <= centre_x + radius; ++x) {
      double dark = 0;
      for (int p = 0; p < kPoints * kPoints; ++p) {
        const double dx = x + (p % kPoints + 0.5) / kPoints - centre_x;
        const double dy = y + (p / kPoints + 0.5) / kPoints - centre_y;
        const bool spoke = std::fmod((std::atan2(dy, dx) + kPi) * kSpokes / kPi, 2.0) < 1;
        if (std::hypot(dx, dy) < radius && spoke) dark += 1.0 / (kPoints * kPoints);
      }
      canvas.mix(x, y, kInk, dark);
    }
  }
}

void draw_balloons(Canvas& canvas, double scale) {
  const struct {
    double x, y, radius;
    Colour colour;
  } balloons[] = {{90, 60, 24, {0.85, 0.1, 0.12, 1}},
                  {150, 92, 15, {0.95, 0.75, 0.1, 1}},
                  {330, 52, 19, {0.15, 0.25, 0.8, 1}},
                  {395, 84, 12, {0.6, 0.1, 0.6, 1}}};
  for (const auto& b : balloons) {
    canvas.stroke(b.x * scale, b.y * scale, (b.x + 4) * scale, (b.y + 62) * scale, 0.8 * scale, kInk);
    canvas.fill_disk(b.x * scale, b.y * scale, b.radius * scale, b.colour);
    canvas.fill_disk((b.x - b.radius * 0.35) * scale, (b.y - b.radius * 0.35) * scale,
                     b.radius * 0.22 * scale, {1, 1, 1, 0.55});
  }
}

void draw_wires(Canvas& canvas, double scale) {
  for (int i = 0; i < 9; ++i) {
    const double y = (14 + 5 * i) * scale;
    canvas.stroke(200 * scale, y, 470 * scale, y + (2.0 * i - 4) * 3 * scale, (0.5 + 0.15 * i) * scale, kInk);
  }
}

// Intensity of the star at (x, y) from its centre in pixels.
double star_intensity(double x, double y) {
  const double coma_x = x - 0.08 * (x * x + y * y) / (1 + std::hypot(x, y));
  const double core = std::pow(1 + (coma_x * coma_x + y * y) / (2.2 * 2.2), -2.5);
  const double spikes = std::exp(-std::abs(x) / 6) * std::exp(-y * y / 0.8) +
                        std::exp(-std::abs(y) / 6) * std::exp(-x * x / 0.8);
  return core + 0.12 * spikes;
}

}  // namespace

Canvas scene(const Font& font, double scale) {
  Canvas canvas(static_cast<int>(std::lround(480 * scale)), static_cast<int>(std::lround(360 * scale)),
                kPaper);
  draw_sky_and_hills(canvas);
  draw_wires(canvas, scale);
  draw_balloons(canvas, scale);
  draw_grass(canvas, scale);
  draw_fence(canvas, scale);
  draw_text_panel(canvas, font, scale);
  draw_siemens_star(canvas, scale);
  draw_zone_plate_panel(canvas, scale);
  return canvas;
}

Canvas zone_plate(int side) {
  Canvas canvas(side, side, kPaper);
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      const double dx = x + 0.5 - side / 2.0;
      const double dy = y + 0.5 - side / 2.0;
      const double wave = 0.5 + 0.5 * std::cos(kPi * (dx * dx + dy * dy) / side);
      canvas.at(x, y) = {wave, wave, wave, 1};
    }
  }
  return canvas;
}

Canvas badge(int side) {
  Canvas canvas(side, side, {0, 1, 0, 0});
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      const double u = (x + 0.5) / side - 0.5;
      const double v = (y + 0.5) / side - 0.5;
      const double alpha = std::clamp((0.45 - std::hypot(u, v)) * 12, 0.0, 1.0);
      if (alpha > 0) canvas.at(x, y) = {0.9, 0.25 + 0.4 * (v + 0.5), 0.1 + 0.3 * (u + 0.5), alpha};
    }
  }
  return canvas;
}

Canvas star(int side) {
  Canvas canvas(side, side, {0, 0, 0, 1});
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      const double value = 0.9 * star_intensity(x - side / 2, y - side / 2);
      canvas.at(x, y) = {value, value, value, 1};
    }
  }
  return canvas;
}

Canvas star_field(int width, int height) {
  Canvas canvas(width, height, {0.01, 0.01, 0.01, 1});
  Noise noise(1969);
  const auto add = [&](int x, int y, double light) {
    if (x < 0 || y < 0 || x >= width || y >= height) return;
    for (std::size_t c = 0; c < 3; ++c) canvas.at(x, y)[c] = std::min(canvas.at(x, y)[c] + light, 1.0);
  };
  const int stars = width * height / 450;
  for (int i = 0; i < stars; ++i) {
    const int x = static_cast<int>(noise.next() * width);
    const int y = static_cast<int>(noise.next() * height);
    const double light = 0.98 * std::pow(noise.next(), 4) + 0.02;
    add(x, y, light);
    if (i % 12 == 0) add(x + 3, y + 2, light * 0.8);
  }
  return canvas;
}

}  // namespace kyv::samples
