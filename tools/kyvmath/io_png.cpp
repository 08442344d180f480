#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <csetjmp>
#include <string>
#include <string_view>
#include <vector>

#include "codecs_posix.h"
#include "error.h"
#include "exif.h"
#include "file_handle.h"

// libpng reports errors by a long jump. Every call that may fail is made inside guarded(), whose functor owns
// nothing with a destructor, so that a jump skips none.
namespace kyv::host::codec {
namespace {

constexpr double kMetresPerInch = 0.0254;
constexpr const char* kDamaged = "damaged PNG file: ";
constexpr const char* kUnwritten = "could not be written completely; is the disk full? ";
constexpr png_uint_32 kLargestSide = 0x7fffffff;
constexpr std::size_t kLongestRow = 0x7fffffff;
constexpr std::string_view kXmpKey = "XML:com.adobe.xmp";
constexpr png_byte kProfileChunk[5] = {'i', 'C', 'C', 'P', 0};

struct PngErrors {
  std::string message;
};

void store_error(png_structp png, png_const_charp message) {
  static_cast<PngErrors*>(png_get_error_ptr(png))->message = message;
  png_longjmp(png, 1);
}

void ignore_warning(png_structp, png_const_charp) {}

template <typename Call>
void guarded(png_structp png, const PngErrors& errors, const char* what, Call call) {
  if (setjmp(png_jmpbuf(png)) != 0) throw Error(std::string(what) + errors.message);
  call();
}

struct Reader {
  PngErrors errors;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &errors, store_error, ignore_warning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);

  Reader() {
    if (info == nullptr) throw std::bad_alloc();
  }
  ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
};

struct Writer {
  PngErrors errors;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &errors, store_error, ignore_warning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);

  Writer() {
    if (info == nullptr) throw std::bad_alloc();
  }
  ~Writer() { png_destroy_write_struct(&png, &info); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
};

// Palettes, depths below 8 bits and transparent colours become plain samples; grey with alpha becomes RGBA.
void request_plain_samples(png_structp png, png_infop info) {
  const int colour = png_get_color_type(png, info);
  const bool transparent = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  png_set_expand(png);
  if ((colour & PNG_COLOR_MASK_COLOR) == 0 && ((colour & PNG_COLOR_MASK_ALPHA) != 0 || transparent)) {
    png_set_gray_to_rgb(png);
  }
  if (std::endian::native == std::endian::little) png_set_swap(png);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
}

// libpng drops profiles that it finds fault with, in both directions; ours are the file's own business and go
// along as they are. The chunk: a name, a zero, the method (zero), a zlib stream.
std::vector<std::uint8_t> unpacked_profile(std::string_view chunk) {
  constexpr uLongf kLongestProfile = 1u << 28;
  const auto name_end = chunk.find('\0');
  if (name_end == std::string_view::npos || name_end + 2 > chunk.size()) return {};
  const std::string_view packed = chunk.substr(name_end + 2);
  std::vector<std::uint8_t> profile;
  for (uLongf room = 1u << 16; room <= kLongestProfile; room *= 4) {
    profile.resize(room);
    uLongf length = room;
    const int result = uncompress(profile.data(), &length, reinterpret_cast<const Bytef*>(packed.data()),
                                  static_cast<uLong>(packed.size()));
    if (result == Z_BUF_ERROR && length == room) continue;
    profile.resize(result == Z_OK ? length : 0);
    return profile;
  }
  return {};
}

std::vector<std::uint8_t> packed_profile(const std::vector<std::uint8_t>& profile) {
  constexpr std::string_view kHead("ICC profile\0\0", 13);
  if (profile.empty()) return {};
  uLongf length = compressBound(static_cast<uLong>(profile.size()));
  std::vector<std::uint8_t> chunk(kHead.begin(), kHead.end());
  chunk.resize(kHead.size() + length);
  if (compress(chunk.data() + kHead.size(), &length, profile.data(), static_cast<uLong>(profile.size())) !=
      Z_OK) {
    throw std::bad_alloc();
  }
  chunk.resize(kHead.size() + length);
  return chunk;
}

Metadata metadata_of(png_structp png, png_infop info) {
  Metadata metadata;
  png_unknown_chunkp chunk = nullptr;
  if (png_get_unknown_chunks(png, info, &chunk) > 0) {
    metadata.icc_profile = unpacked_profile({reinterpret_cast<const char*>(chunk->data), chunk->size});
  }
  png_bytep exif = nullptr;
  png_uint_32 length = 0;
  if (png_get_eXIf_1(png, info, &length, &exif) != 0) metadata.exif.assign(exif, exif + length);
  metadata.orientation = exif::orientation_of(metadata.exif);
  png_textp texts = nullptr;
  const int text_count = png_get_text(png, info, &texts, nullptr);
  for (int i = 0; i < text_count; ++i) {
    if (std::string_view(texts[i].key) == kXmpKey) {
      metadata.xmp.assign(texts[i].text, std::max(texts[i].text_length, texts[i].itxt_length));
    }
  }
  png_uint_32 x = 0;
  png_uint_32 y = 0;
  int unit = PNG_RESOLUTION_UNKNOWN;
  if (png_get_pHYs(png, info, &x, &y, &unit) != 0 && unit == PNG_RESOLUTION_METER) {
    metadata.dpi_x = x * kMetresPerInch;
    metadata.dpi_y = y * kMetresPerInch;
  }
  return metadata;
}

std::vector<png_bytep> rows_of(const Image& image) {
  std::vector<png_bytep> rows;
  for (int y = 0; y < image.height(); ++y) rows.push_back(const_cast<png_bytep>(image.row(y)));
  return rows;
}

}  // namespace

Image read_png(const std::filesystem::path& file) {
  const FileHandle in = open_file(file, "rb");
  Reader reader;
  png_structp png = reader.png;
  png_infop info = reader.info;
  guarded(png, reader.errors, kDamaged, [&] {
    png_init_io(png, in.get());
    png_set_user_limits(png, kLargestSide, kLargestSide);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, kProfileChunk, 1);
    png_read_info(png, info);
  });
  // Before libpng allocates its row buffers; expanded pixels have up to 8 bytes.
  if (png_get_image_width(png, info) > kLongestRow / 8) throw Error("too wide: a row may hold 2 GiB at most");
  guarded(png, reader.errors, kDamaged, [&] { request_plain_samples(png, info); });

  Image image(static_cast<int>(png_get_image_width(png, info)),
              static_cast<int>(png_get_image_height(png, info)),
              {png_get_channels(png, info), png_get_bit_depth(png, info)});
  const std::vector<png_bytep> rows = rows_of(image);
  guarded(png, reader.errors, kDamaged, [&] {
    png_read_image(png, const_cast<png_bytepp>(rows.data()));
    png_read_end(png, info);
  });
  image.metadata = metadata_of(png, info);
  return image;
}

void write_png(const std::filesystem::path& file, const Image& image) {
  FileHandle out = open_file(file, "wb");
  {
    Writer writer;
    png_structp png = writer.png;
    png_infop info = writer.info;
    const PixelFormat format = image.format();
    const Metadata& metadata = image.metadata;
    const int colour = format.channels == 1   ? PNG_COLOR_TYPE_GRAY
                       : format.channels == 3 ? PNG_COLOR_TYPE_RGB
                                              : PNG_COLOR_TYPE_RGB_ALPHA;
    const std::vector<png_bytep> rows = rows_of(image);
    const std::vector<std::uint8_t> profile = packed_profile(metadata.icc_profile);
    std::vector<std::uint8_t> exif = exif::block_for(image);
    std::string xmp_key(kXmpKey);
    std::string xmp_text = metadata.xmp;
    png_text xmp{};
    xmp.compression = PNG_ITXT_COMPRESSION_NONE;
    xmp.key = xmp_key.data();
    xmp.text = xmp_text.data();
    xmp.itxt_length = xmp_text.size();
    guarded(png, writer.errors, kUnwritten, [&] {
      png_init_io(png, out.get());
      png_set_user_limits(png, kLargestSide, kLargestSide);
      png_set_benign_errors(png, 1);
      png_set_IHDR(png, info, static_cast<png_uint_32>(image.width()),
                   static_cast<png_uint_32>(image.height()), format.bits, colour, PNG_INTERLACE_NONE,
                   PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
      if (!exif.empty()) {
        png_set_eXIf_1(png, info, static_cast<png_uint_32>(exif.size()), exif.data());
      }
      if (!metadata.xmp.empty()) png_set_text(png, info, &xmp, 1);
      if (metadata.dpi_x > 0 && metadata.dpi_y > 0) {
        png_set_pHYs(png, info, static_cast<png_uint_32>(std::lround(metadata.dpi_x / kMetresPerInch)),
                     static_cast<png_uint_32>(std::lround(metadata.dpi_y / kMetresPerInch)),
                     PNG_RESOLUTION_METER);
      }
      png_write_info_before_PLTE(png, info);
      if (!profile.empty()) png_write_chunk(png, kProfileChunk, profile.data(), profile.size());
      png_write_info(png, info);
      if (std::endian::native == std::endian::little) png_set_swap(png);
      png_write_image(png, const_cast<png_bytepp>(rows.data()));
      png_write_end(png, info);
    });
  }
  close_written(std::move(out));
}

}  // namespace kyv::host::codec
