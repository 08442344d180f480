#include "codecs_posix.h"

namespace kyv::host::codec {

Image decode(const std::filesystem::path& file, FileType type) {
  switch (type) {
    case FileType::kPng:
      return read_png(file);
    case FileType::kJpeg:
      return read_jpeg(file);
    case FileType::kTiff:
      break;
  }
  return read_tiff(file);
}

void encode(const std::filesystem::path& file, FileType type, const Image& image,
            const EncodeOptions& options) {
  switch (type) {
    case FileType::kPng:
      return write_png(file, image);
    case FileType::kJpeg:
      return write_jpeg(file, image, options);
    case FileType::kTiff:
      return write_tiff(file, image);
  }
}

}  // namespace kyv::host::codec
