#include "image_io.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <new>
#include <string_view>
#include <utility>

#include "error.h"
#include "files.h"

namespace kyv::host {
namespace {

constexpr std::size_t kSignatureBytes = 8;

FileType type_from_content(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw Error(std::string("cannot be opened for reading: ") + std::strerror(errno));
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

// XMP repeats what EXIF says of the orientation: as an attribute or as an element.
void reset_orientation(Metadata& metadata) {
  constexpr std::string_view kName = "tiff:Orientation";
  for (auto at = metadata.xmp.find(kName); at != std::string::npos; at = metadata.xmp.find(kName, at)) {
    at += kName.size();
    const auto digit = metadata.xmp.find_first_not_of("=\"'> ", at);
    if (digit != std::string::npos && metadata.xmp[digit] >= '1' && metadata.xmp[digit] <= '8') {
      metadata.xmp[digit] = static_cast<char>('0' + metadata.orientation);
    }
  }
}

}  // namespace

const char* name_of(FileType type) {
  return type == FileType::kPng ? "PNG" : type == FileType::kJpeg ? "JPEG" : "TIFF";
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

bool is_standard_stream(const std::filesystem::path& file) { return file == "-"; }

Image read_image(const std::filesystem::path& file, bool auto_orient, FileType* type) {
  try {
    const InputFile input(file);
    const FileType found = type_from_content(input.path());
    if (type != nullptr) *type = found;
    Image image = codec::decode(input.path(), found);
    if (auto_orient) image = upright(std::move(image));
    return image;
  } catch (const std::bad_alloc&) {
    throw Error(display(file) + ": not enough memory to read it");
  } catch (const Error& error) {
    throw Error(display(file) + ": " + error.what());
  }
}

void write_image(const std::filesystem::path& file, FileType type, Image image,
                 const EncodeOptions& options) {
  try {
    if (options.metadata != Keep::kAll) {
      image.metadata.exif.clear();
      image.metadata.xmp.clear();
    }
    if (options.metadata == Keep::kNothing) image.metadata.icc_profile.clear();
    reset_orientation(image.metadata);
    if (type == FileType::kJpeg) {
      image = flattened(std::move(image), options.background);
      if (image.format().bits != 8) image = converted(image, 8);
    }
    if (type == FileType::kPng && image.metadata.premultiplied) {
      unpremultiply(image);
      image.metadata.premultiplied = false;
    }
    OutputFile output(file);
    codec::encode(output.temporary(), type, image, options);
    output.commit();
  } catch (const std::bad_alloc&) {
    throw Error(display(file) + ": not enough memory to write it");
  } catch (const Error& error) {
    throw Error(display(file) + ": " + error.what());
  }
}

void write_image(const std::filesystem::path& file, const Image& image, const EncodeOptions& options) {
  write_image(file, type_from_name(file), image.copy(), options);
}

}  // namespace kyv::host
