#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "error.h"
#include "files.h"
#include "image_io.h"
#include "mtf.h"

namespace kyv::host {
namespace {

constexpr double kWidth = 720;
constexpr double kHeight = 480;
constexpr double kLeft = 70;
constexpr double kTop = 50;
constexpr double kRight = kWidth - 30;
constexpr double kBottom = kHeight - 60;
constexpr double kLargestFrequency = 0.5;

double plot_x(double frequency) { return kLeft + (kRight - kLeft) * frequency / kLargestFrequency; }
double plot_y(double value) { return kBottom - (kBottom - kTop) * value; }

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string number(double value, int decimals) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

void draw_text(std::ostream& svg, double x, double y, const std::string& anchor, const std::string& text) {
  svg << "<text x='" << x << "' y='" << y << "' text-anchor='" << anchor << "'>" << escaped(text)
      << "</text>\n";
}

void draw_line(std::ostream& svg, double x0, double y0, double x1, double y1, const std::string& style) {
  svg << "<line x1='" << x0 << "' y1='" << y0 << "' x2='" << x1 << "' y2='" << y1 << "' " << style << "/>\n";
}

void draw_axes(std::ostream& svg, const std::string& title) {
  const std::string grid = "stroke='#ddd'";
  for (int i = 0; i <= 5; ++i) {
    const double value = i / 5.0;
    const double frequency = i / 10.0;
    draw_line(svg, kLeft, plot_y(value), kRight, plot_y(value), grid);
    draw_line(svg, plot_x(frequency), kTop, plot_x(frequency), kBottom, grid);
    draw_text(svg, kLeft - 8, plot_y(value) + 5, "end", number(value, 1));
    draw_text(svg, plot_x(frequency), kBottom + 20, "middle", number(frequency, 1));
  }
  svg << "<rect x='" << kLeft << "' y='" << kTop << "' width='" << kRight - kLeft << "' height='"
      << kBottom - kTop << "' fill='none' stroke='#444'/>\n";
  draw_text(svg, (kLeft + kRight) / 2, kBottom + 45, "middle", "spatial frequency (cycles per pixel)");
  draw_text(svg, (kLeft + kRight) / 2, kTop - 18, "middle", title);
  svg << "<text transform='translate(22 " << (kTop + kBottom) / 2
      << ") rotate(-90)' text-anchor='middle'>modulation transfer</text>\n";
}

void draw_curve(std::ostream& svg, const Mtf& mtf, std::size_t plane, const std::string& colour) {
  svg << "<polyline fill='none' stroke-width='2' stroke='" << colour << "' points='";
  for (std::size_t i = 0; i < mtf.frequency.size(); ++i) {
    svg << number(plot_x(mtf.frequency[i]), 2) << ',' << number(plot_y(mtf.planes[plane][i]), 2) << ' ';
  }
  svg << "'/>\n";
  const auto half = frequency_at(mtf.frequency, mtf.planes[plane], 0.5);
  if (!half) return;
  svg << "<circle cx='" << plot_x(*half) << "' cy='" << plot_y(0.5) << "' r='4' fill='" << colour << "'/>\n";
  draw_text(svg, plot_x(*half) + 10, plot_y(0.5) - 8 + 18 * static_cast<double>(plane), "start",
            "half at " + number(*half, 4));
}

std::string plot_text(const Mtf& mtf, const std::string& title) {
  static constexpr std::array<const char*, 3> kRgb{"#d03030", "#208030", "#3050d0"};
  std::ostringstream svg;
  svg << "<svg xmlns='http://www.w3.org/2000/svg' width='" << kWidth << "' height='" << kHeight
      << "' viewBox='0 0 " << kWidth << ' ' << kHeight << "' font-family='sans-serif' font-size='14'>\n"
      << "<rect width='100%' height='100%' fill='white'/>\n";
  draw_axes(svg, title);
  for (std::size_t plane = 0; plane < mtf.planes.size(); ++plane) {
    draw_curve(svg, mtf, plane, mtf.planes.size() == 3 ? kRgb[plane] : "#204080");
  }
  svg << "</svg>\n";
  return svg.str();
}

}  // namespace

void write_mtf_plot(const std::filesystem::path& file, const Mtf& mtf, const std::string& title) {
  try {
    OutputFile output(file);
    std::ofstream out(output.temporary(), std::ios::binary);
    out << plot_text(mtf, title);
    out.close();
    if (!out) throw Error("could not be written completely; is the disk full?");
    output.commit();
  } catch (const Error& error) {
    throw Error(display(file) + ": " + error.what());
  }
}

}  // namespace kyv::host
