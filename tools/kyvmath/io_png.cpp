#include <png.h>

#include <bit>
#include <cmath>
#include <csetjmp>
#include <string>
#include <vector>

#include "codecs_posix.h"
#include "error.h"
#include "file_handle.h"

// libpng reports errors by a long jump. Every call that may fail is made inside guarded(), whose functor owns
// nothing with a destructor, so that a jump skips none.
namespace kyv::host::codec {
namespace {

constexpr double kMetresPerInch = 0.0254;
constexpr png_uint_32 kLargestSide = 0x7fffffff;
constexpr std::size_t kLongestRow = 0x7fffffff;

struct PngErrors {
  std::string message;
};

void store_error(png_structp png, png_const_charp message) {
  static_cast<PngErrors*>(png_get_error_ptr(png))->message = message;
  png_longjmp(png, 1);
}

void ignore_warning(png_structp, png_const_charp) {}

template <typename Call>
void guarded(png_structp png, const PngErrors& errors, Call call) {
  if (setjmp(png_jmpbuf(png)) != 0) throw Error("damaged PNG file: " + errors.message);
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

Metadata metadata_of(png_structp png, png_infop info) {
  Metadata metadata;
  png_charp name = nullptr;
  int compression = 0;
  png_bytep profile = nullptr;
  png_uint_32 length = 0;
  if (png_get_iCCP(png, info, &name, &compression, &profile, &length) != 0) {
    metadata.icc_profile.assign(profile, profile + length);
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
  guarded(png, reader.errors, [&] {
    png_init_io(png, in.get());
    png_set_user_limits(png, kLargestSide, kLargestSide);
    png_read_info(png, info);
  });
  // Before libpng allocates its row buffers; expanded pixels have up to 8 bytes.
  if (png_get_image_width(png, info) > kLongestRow / 8) throw Error("too wide: a row may hold 2 GiB at most");
  guarded(png, reader.errors, [&] { request_plain_samples(png, info); });

  Image image(static_cast<int>(png_get_image_width(png, info)),
              static_cast<int>(png_get_image_height(png, info)),
              {png_get_channels(png, info), png_get_bit_depth(png, info)});
  const std::vector<png_bytep> rows = rows_of(image);
  guarded(png, reader.errors, [&] {
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
    guarded(png, writer.errors, [&] {
      png_init_io(png, out.get());
      png_set_user_limits(png, kLargestSide, kLargestSide);
      png_set_benign_errors(png, 1);
      png_set_IHDR(png, info, static_cast<png_uint_32>(image.width()),
                   static_cast<png_uint_32>(image.height()), format.bits, colour, PNG_INTERLACE_NONE,
                   PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
      if (!metadata.icc_profile.empty()) {
        png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, metadata.icc_profile.data(),
                     static_cast<png_uint_32>(metadata.icc_profile.size()));
      }
      if (metadata.dpi_x > 0 && metadata.dpi_y > 0) {
        png_set_pHYs(png, info, static_cast<png_uint_32>(std::lround(metadata.dpi_x / kMetresPerInch)),
                     static_cast<png_uint_32>(std::lround(metadata.dpi_y / kMetresPerInch)),
                     PNG_RESOLUTION_METER);
      }
      png_write_info(png, info);
      if (std::endian::native == std::endian::little) png_set_swap(png);
      png_write_image(png, const_cast<png_bytepp>(rows.data()));
      png_write_end(png, info);
    });
  }
  close_written(std::move(out));
}

}  // namespace kyv::host::codec
