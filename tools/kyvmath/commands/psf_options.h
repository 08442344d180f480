#pragma once

#include <memory>
#include <string>

#include "../planes.h"
#include "arguments.h"

namespace kyv::host {

// How a command is told its PSF: a file, or the parameters of one made on the spot.
struct PsfOptions {
  std::string file;
  double gaussian = 0;
  double disk = 0;
  double airy = 0;
  std::string motion;
  std::string size;
  std::string centre;
};

// Adds --gaussian, --disk, --motion, --airy, --psf-size and --psf-center.
void add_psf_options(Arguments& command, PsfOptions& options);

// Whether the PSF is to be made rather than read.
bool makes_psf(const PsfOptions& options);

// Makes the PSF, or reads it from a picture or a .npy file of real values; its sum is 1 and its centre at
// (width/2, height/2). Throws UsageError unless exactly one PSF is asked for.
ComplexPlanes psf_from(const PsfOptions& options);

// "gaussian 1.5", or the file's name: for titles.
std::string describe(const PsfOptions& options);

}  // namespace kyv::host
