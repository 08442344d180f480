#pragma once

#include <filesystem>
#include <string>

#include "adjust.h"
#include "image.h"

namespace kyv::host {

enum class FileType { kPng, kJpeg, kTiff };

// Colour at full resolution, at half of it along rows, or at half of it both ways.
enum class Subsampling { k444, k422, k420 };

enum class Keep { kAll, kIccProfile, kNothing };

struct EncodeOptions {
  int jpeg_quality = 92;  // 1 to 100
  Subsampling subsampling = Subsampling::k444;
  bool progressive = false;
  // What is kept of EXIF, XMP and ICC profile; resolution and orientation always are.
  Keep metadata = Keep::kAll;
  Colour background = {};  // under pictures with alpha in files that hold none
};

const char* name_of(FileType type);

// The type that a file name asks for. Throws UsageError for other extensions than .png .jpg .jpeg .tif .tiff.
FileType type_from_name(const std::filesystem::path& file);

// Whether the name, "-", stands for standard input or output.
bool is_standard_stream(const std::filesystem::path& file);

// Reads a PNG, JPEG or TIFF file, whatever its name says, or a pipe: palettes and depths below 8 bits are
// expanded, grey with alpha becomes RGBA, inverted grey is put right. The picture is turned upright unless
// `auto_orient` is false. Throws Error, with the file's name, for anything else.
Image read_image(const std::filesystem::path& file, bool auto_orient = true, FileType* type = nullptr);

// Writes the picture (see OutputFile for the manner). What the type cannot hold is converted: pictures become
// 8-bit and opaque for JPEG, colour that is multiplied by alpha is divided again for PNG.
void write_image(const std::filesystem::path& file, FileType type, Image image,
                 const EncodeOptions& options = {});
// The type is that of the name.
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
