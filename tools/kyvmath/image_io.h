#pragma once

#include <filesystem>
#include <string>

#include "image.h"

namespace kyv::host {

enum class FileType { kPng, kJpeg, kTiff };

struct EncodeOptions {
  int jpeg_quality = 92;  // 1 to 100
};

const char* name_of(FileType type);

// The type that a file name asks for. Throws UsageError for other extensions than .png .jpg .jpeg .tif .tiff.
FileType type_from_name(const std::filesystem::path& file);

// Throws Error when pictures of this format cannot be stored in a file of this type.
void check_storable(PixelFormat format, FileType type);

// Reads a PNG, JPEG or TIFF file, whatever its name says: palettes and depths below 8 bits are expanded, grey
// with alpha becomes RGBA, inverted grey is put right. Throws Error, with the file's name, for anything else.
Image read_image(const std::filesystem::path& file);

// Writes the picture under a temporary name in the same folder and renames it when it is complete.
void write_image(const std::filesystem::path& file, const Image& image, const EncodeOptions& options = {});

// UTF-8, for messages.
std::string display(const std::filesystem::path& file);

namespace codec {

// One set per platform. Errors need not name the file; read_image and write_image do.
Image decode(const std::filesystem::path& file, FileType type);
void encode(const std::filesystem::path& file, FileType type, const Image& image,
            const EncodeOptions& options);

}  // namespace codec
}  // namespace kyv::host
