#pragma once

#include "canvas.h"

// The sample pictures of the demonstration. Every one is drawn from formulas: the same picture on every run.
namespace kyv::samples {

// What tells the modes apart: text from large to tiny, a Siemens star, a zone plate (cos(pi r^2 / side),
// local frequency growing from 0 at the centre to 0.5 cycles per pixel at the middle of the edges) and a fan
// of lines from hair-thin to thick. 480 x 240 at scale 1; every measure follows the scale.
Canvas test_chart(const Font& font, double scale);

// A seal with a wavy edge and a ring cut out, on a transparent ground whose hidden colour is bright green: a
// fringe shows when alpha is not taken into account.
Canvas badge(int side);

// The image of one star: a core widened by the air, diffraction spikes of a four-vane spider and a slight
// coma. Centre at (side/2, side/2).
Canvas star(int side);

// Small disks of light of many brightnesses and a few double stars on a dark blue sky.
Canvas star_field(int width, int height);

}  // namespace kyv::samples
