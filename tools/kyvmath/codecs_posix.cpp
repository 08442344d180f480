#include "codecs_posix.h"

namespace kyv::host::codec {

Image decode(const std::filesystem::path& file, FileType type) {
  if (type == FileType::kPng) return read_png(file);
  return type == FileType::kJpeg ? read_jpeg(file) : read_tiff(file);
}

void encode(const std::filesystem::path& file, FileType type, const Image& image,
            const EncodeOptions& options) {
  if (type == FileType::kPng) return write_png(file, image);
  return type == FileType::kJpeg ? write_jpeg(file, image, options) : write_tiff(file, image);
}

}  // namespace kyv::host::codec
