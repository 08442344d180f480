#pragma once

#include "canvas.h"

// The sample pictures of the demonstration. Every one is drawn from formulas: the same picture on every run.
namespace kyv::samples {

// A landscape with a fenced meadow (fine texture), text from large to tiny, a zone plate, a Siemens star and
// fine lines. 480 x 360 at scale 1; every measure follows the scale.
Canvas scene(const Font& font, double scale);

// The zone plate alone: cos(pi r^2 / side), local frequency growing from 0 at the centre to 0.5 cycles per
// pixel at the middle of the edges.
Canvas zone_plate(int side);

// A round badge with a soft edge on a transparent ground whose hidden colour is bright green: a fringe shows
// when alpha is not taken into account.
Canvas badge(int side);

// The image of one star: a core widened by the air, diffraction spikes of a four-vane spider and a slight
// coma. Centre at (side/2, side/2).
Canvas star(int side);

// Points of light of many brightnesses and a few double stars, each within one pixel, on a dark sky.
Canvas star_field(int width, int height);

}  // namespace kyv::samples
