#!/usr/bin/env python3
"""Draws the pictures of docs/NUMERICS.md: the five resize kernels and their frequency responses.

    docs/figures/make_figures.py           writes kernels.svg and responses.svg beside this file
    docs/figures/make_figures.py --check   exits with 1 when a committed picture differs

Needs nothing but Python 3.8 and its standard library. The kernels are those of
src/resize in units of the sampling grid: one source pixel on enlargement, one destination pixel on
reduction, where nearest neighbour alone is not stretched (it picks one source pixel at any factor).
"""

import math
import pathlib
import sys

FOLDER = pathlib.Path(__file__).resolve().parent


def box(d):
    return 1.0 if d < 0.5 else 0.0


def linear(d):
    return 1.0 - d if d < 1.0 else 0.0


def cubic(d):
    if d < 1.0:
        return (0.5 * d * d - d - 0.5) * d + 1.0
    if d < 2.0:
        return (-d * d / 6.0 + d - 11.0 / 6.0) * d + 1.0
    return 0.0


def sinc(x):
    return 1.0 if x == 0.0 else math.sin(math.pi * x) / (math.pi * x)


def lanczos(d):
    return sinc(d) * sinc(d / 3.0) if d < 3.0 else 0.0


# name, kernel, radius, the points between which the kernel is smooth, colour
KERNELS = (
    ("1 nearest neighbour", box, 0.5, (0.0, 0.5), "#6b7280"),
    ("2 linear", linear, 1.0, (0.0, 1.0), "#2563eb"),
    ("4 cubic (Lagrange)", cubic, 2.0, (0.0, 1.0, 2.0), "#059669"),
    ("8 super-sampling (box)", box, 0.5, (0.0, 0.5), "#d97706"),
    ("16 Lanczos, 3 lobes", lanczos, 3.0, (0.0, 1.0, 2.0, 3.0), "#dc2626"),
)


def response(kernel, knots, frequency):
    """The kernel's Fourier transform at `frequency` (cycles per grid step), by Simpson's rule."""
    total = 0.0
    steps = 256
    for left, right in zip(knots, knots[1:]):
        h = (right - left) / steps
        for k in range(steps + 1):
            # The value just inside the piece: kernels may jump at a knot.
            inside = min(max(left + k * h, left + 1e-12), right - 1e-12)
            weight = 1 if k in (0, steps) else (4 if k % 2 else 2)
            total += weight * kernel(inside) * math.cos(2.0 * math.pi * frequency * (left + k * h)) * h / 3.0
    return 2.0 * total


class Svg:
    """Elements with coordinates rounded to 1/100, so that every machine writes the same bytes."""

    def __init__(self, width, height):
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
            f'height="{height}" font-family="sans-serif" font-size="12">',
            f'<rect width="{width}" height="{height}" fill="#ffffff"/>',
        ]

    def line(self, x1, y1, x2, y2, colour="#d1d5db", width=1):
        self.parts.append(f'<line x1="{x1:.2f}" y1="{y1:.2f}" x2="{x2:.2f}" y2="{y2:.2f}" '
                          f'stroke="{colour}" stroke-width="{width}"/>')

    def text(self, x, y, text, anchor="middle", colour="#111827"):
        self.parts.append(f'<text x="{x:.2f}" y="{y:.2f}" text-anchor="{anchor}" fill="{colour}">{text}</text>')

    def curve(self, points, colour, dashes=""):
        path = " ".join(f"{x:.2f},{y:.2f}" for x, y in points)
        dash = f' stroke-dasharray="{dashes}"' if dashes else ""
        self.parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"{dash}/>')

    def result(self):
        return "\n".join(self.parts + ["</svg>", ""])


def draw_kernels():
    """Five small plots side by side: weight before normalisation against distance."""
    plot_width, top, bottom, gap = 210, 40, 240, 22
    svg = Svg(len(KERNELS) * (plot_width + gap) + gap, 290)

    def y_of(value):
        return bottom - (value + 0.25) / 1.35 * (bottom - top)

    for index, (name, kernel, _, _, colour) in enumerate(KERNELS):
        left = gap + index * (plot_width + gap)

        def x_of(d, left=left):
            return left + (d + 3.2) / 6.4 * plot_width

        svg.text(left + plot_width / 2, 24, name, colour=colour)
        for value in (0.0, 0.5, 1.0):
            svg.line(left, y_of(value), left + plot_width, y_of(value), "#9ca3af" if value == 0.0 else "#e5e7eb")
            svg.text(left + 2, y_of(value) - 3, f"{value:g}", "start", "#6b7280")
        for d in range(-3, 4):
            svg.line(x_of(d), bottom, x_of(d), top, "#f3f4f6")
            svg.text(x_of(d), bottom + 16, str(d), colour="#6b7280")
        samples = [k / 100.0 for k in range(-320, 321)]
        svg.curve([(x_of(d), y_of(kernel(abs(d)))) for d in samples], colour)
        svg.text(left + plot_width / 2, bottom + 36, "distance in grid steps", colour="#6b7280")
    return svg.result()


def draw_responses():
    """One plot: gain in decibels against frequency, the Nyquist frequency of the grid marked."""
    left, right, top, bottom = 60, 860, 30, 430
    lowest, highest_frequency = -80.0, 3.0
    svg = Svg(900, 500)

    def x_of(frequency):
        return left + frequency / highest_frequency * (right - left)

    def y_of(decibels):
        return top + (5.0 - max(decibels, lowest)) / (5.0 - lowest) * (bottom - top)

    for decibels in range(0, -81, -20):
        svg.line(left, y_of(decibels), right, y_of(decibels))
        svg.text(left - 6, y_of(decibels) + 4, f"{decibels} dB", "end", "#6b7280")
    for half_steps in range(0, 7):
        svg.line(x_of(half_steps / 2), top, x_of(half_steps / 2), bottom, "#e5e7eb")
        svg.text(x_of(half_steps / 2), bottom + 16, f"{half_steps / 2:g}", colour="#6b7280")
    svg.line(x_of(0.5), top, x_of(0.5), bottom, "#111827")
    svg.text(x_of(0.5) + 4, top + 12, "Nyquist", "start")
    svg.text((left + right) / 2, bottom + 34, "frequency in cycles per grid step", colour="#6b7280")

    # Nearest neighbour and super-sampling share one shape: the second is drawn dashed over the first.
    for index, (name, kernel, _, knots, colour) in enumerate(KERNELS):
        points = []
        for k in range(0, 601):
            frequency = k * highest_frequency / 600
            gain = abs(response(kernel, knots, frequency) / response(kernel, knots, 0.0))
            points.append((x_of(frequency), y_of(20.0 * math.log10(max(gain, 1e-6)))))
        svg.curve(points, colour, "7 5" if name.startswith("8") else "")
        svg.line(620, 46 + 18 * index, 650, 46 + 18 * index, colour, 3)
        svg.text(658, 50 + 18 * index, name, "start")
    svg.text(left, bottom + 58, "Nearest neighbour has this response on enlargement only; on reduction it does not "
             "filter at all.", "start", "#6b7280")
    return svg.result()


def main():
    check = sys.argv[1:] == ["--check"]
    stale = []
    for name, draw in (("kernels.svg", draw_kernels), ("responses.svg", draw_responses)):
        path = FOLDER / name
        text = draw()
        if check:
            if not path.exists() or path.read_text(encoding="utf-8") != text:
                stale.append(name)
        else:
            path.write_bytes(text.encode("utf-8"))
    for name in stale:
        print(f"{name}: out of date, run {pathlib.Path(__file__).name}", file=sys.stderr)
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main())
