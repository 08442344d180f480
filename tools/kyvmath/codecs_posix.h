#pragma once

#include <filesystem>

#include "image_io.h"

// The codecs behind codec::decode and codec::encode where libpng, libjpeg-turbo and libtiff are used.
namespace kyv::host::codec {

Image read_png(const std::filesystem::path& file);
void write_png(const std::filesystem::path& file, const Image& image);

Image read_jpeg(const std::filesystem::path& file);
void write_jpeg(const std::filesystem::path& file, const Image& image, const EncodeOptions& options);

Image read_tiff(const std::filesystem::path& file);
void write_tiff(const std::filesystem::path& file, const Image& image);

}  // namespace kyv::host::codec
