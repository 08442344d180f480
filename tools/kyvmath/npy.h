#pragma once

#include <filesystem>

#include "planes.h"

// NumPy's .npy files (format version 1.0, little-endian, C order): the raw planes, for other programs.
namespace kyv::host::npy {

// complex128 with the shape (height, width), or (planes, height, width) when there are several.
void write_complex(const std::filesystem::path& file, const ComplexPlanes& planes);
// float64, the real parts; same shapes.
void write_real(const std::filesystem::path& file, const ComplexPlanes& planes);

// Reads uint8, uint16, float32, float64, complex64 and complex128 of two or three dimensions. Throws Error.
ComplexPlanes read(const std::filesystem::path& file);

}  // namespace kyv::host::npy
