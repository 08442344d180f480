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

void draw_text(Canvas& canvas, const Font& font, double scale) {
  const std::string text = "Sphinx of black quartz, judge my vow: 0123456789 (&) @";
  double y = 8;
  for (const double size : {26.0, 19.0, 14.0, 11.0, 9.0, 7.0, 5.5}) {
    std::string line = text;
    while (font.width(size, line) > 222) line.pop_back();
    y += size * 1.12;
    font.draw(canvas, 12 * scale, (y - size * 0.22) * scale, size * scale, line, kInk);
  }
}

void draw_zone_plate(Canvas& canvas, double scale) {
  constexpr double kX = 368;
  constexpr double kY = 12;
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
  const double centre_x = 302 * scale;
  const double centre_y = 62 * scale;
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

// A fan of lines from hair-thin to thick: equal steps of slope and of thickness.
void draw_hair_lines(Canvas& canvas, double scale) {
  constexpr int kLines = 22;
  for (int i = 0; i < kLines; ++i) {
    const double from = (132 + 4.6 * i) * scale;
    const double to = (124 + 5.2 * i) * scale;
    canvas.stroke(12 * scale, from, 468 * scale, to, (0.25 + 0.06 * i) * scale, kInk);
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

Canvas test_chart(const Font& font, double scale) {
  Canvas canvas(static_cast<int>(std::lround(480 * scale)), static_cast<int>(std::lround(240 * scale)),
                kPaper);
  draw_text(canvas, font, scale);
  draw_siemens_star(canvas, scale);
  draw_zone_plate(canvas, scale);
  draw_hair_lines(canvas, scale);
  return canvas;
}

Canvas badge(int side) {
  Canvas canvas(side, side, {0, 1, 0, 0});
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      const double u = (x + 0.5) / side - 0.5;
      const double v = (y + 0.5) / side - 0.5;
      const double edge = 0.40 + 0.05 * std::cos(11 * std::atan2(v, u));
      const double hole = std::abs(std::hypot(u, v) - 0.27) - 0.02;
      const double alpha = std::clamp(std::min(edge - std::hypot(u, v), hole) * side, 0.0, 1.0);
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
  Canvas canvas(width, height, {0.03, 0.04, 0.08, 1});
  Noise noise(1969);
  const int stars = width * height / 700;
  for (int i = 0; i < stars; ++i) {
    const double x = noise.next() * width;
    const double y = noise.next() * height;
    const double light = std::pow(noise.next(), 3);
    const double warmth = 0.25 * noise.next();
    const Colour colour{1, 1 - warmth / 2, 1 - warmth, 0.35 + 0.65 * light};
    canvas.fill_disk(x, y, 0.7 + 2.2 * light, colour);
    if (i % 12 == 0) canvas.fill_disk(x + 5, y + 3, 0.6 + 1.4 * light, colour);
  }
  return canvas;
}

}  // namespace kyv::samples
