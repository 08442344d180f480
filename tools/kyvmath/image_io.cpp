#include "image_io.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <fstream>
#include <new>

#include "error.h"
#include "output_file.h"

namespace kyv::host {
namespace {

constexpr std::size_t kSignatureBytes = 8;

FileType type_from_content(const std::filesystem::path& file) {
  std::error_code failure;
  const auto status = std::filesystem::status(file, failure);
  if (!std::filesystem::exists(status)) throw Error("no such file");
  if (std::filesystem::is_directory(status)) throw Error("is a folder, not a picture");

  std::ifstream in(file, std::ios::binary);
  if (!in) throw Error("cannot be opened for reading");
  std::array<char, kSignatureBytes> head{};
  in.read(head.data(), head.size());
  const auto got = static_cast<std::size_t>(in.gcount());
  if (got == 0) throw Error("the file is empty");

  const auto starts_with = [&](const char* signature, std::size_t n) {
    return got >= n && std::memcmp(head.data(), signature, n) == 0;
  };
  if (starts_with("\x89PNG\r\n\x1a\n", 8)) return FileType::kPng;
  if (starts_with("\xff\xd8\xff", 3)) return FileType::kJpeg;
  for (const char* signature : {"II*\0", "MM\0*", "II+\0", "MM\0+"}) {
    if (starts_with(signature, 4)) return FileType::kTiff;
  }
  throw Error("not a PNG, JPEG or TIFF file");
}

}  // namespace

const char* name_of(FileType type) {
  switch (type) {
    case FileType::kPng:
      return "PNG";
    case FileType::kJpeg:
      return "JPEG";
    case FileType::kTiff:
      break;
  }
  return "TIFF";
}

std::string display(const std::filesystem::path& file) {
  const auto text = file.u8string();
  return {text.begin(), text.end()};
}

FileType type_from_name(const std::filesystem::path& file) {
  std::string extension = display(file.extension());
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == ".png") return FileType::kPng;
  if (extension == ".jpg" || extension == ".jpeg") return FileType::kJpeg;
  if (extension == ".tif" || extension == ".tiff") return FileType::kTiff;
  throw UsageError(display(file) + ": cannot tell the file type to write; use .png, .tif or .jpg");
}

void check_storable(PixelFormat format, FileType type) {
  if (type != FileType::kJpeg || (format.bits == 8 && format.channels != 4)) return;
  throw Error("JPEG cannot hold " + describe(format) + "; write PNG or TIFF");
}

Image read_image(const std::filesystem::path& file) {
  try {
    return codec::decode(file, type_from_content(file));
  } catch (const std::bad_alloc&) {
    throw Error(display(file) + ": not enough memory to read it");
  } catch (const Error& error) {
    throw Error(display(file) + ": " + error.what());
  }
}

void write_image(const std::filesystem::path& file, const Image& image, const EncodeOptions& options) {
  const FileType type = type_from_name(file);
  try {
    check_storable(image.format(), type);
    OutputFile output(file);
    codec::encode(output.temporary(), type, image, options);
    output.commit();
  } catch (const std::bad_alloc&) {
    throw Error(display(file) + ": not enough memory to write it");
  } catch (const Error& error) {
    throw Error(display(file) + ": " + error.what());
  }
}

}  // namespace kyv::host
