#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "codecs_posix.h"
#include "error.h"
#include "exif.h"

namespace kyv::host::codec {
namespace {

constexpr double kCentimetresPerInch = 2.54;

struct CloseTiff {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using Tiff = std::unique_ptr<TIFF, CloseTiff>;

// libtiff reports through one handler per process; the text belongs to the thread that made the call.
thread_local std::string last_message;

void store_message(const char*, const char* format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  last_message = text;
}

void install_handlers() {
  static const bool installed = [] {
    TIFFSetErrorHandler(store_message);
    TIFFSetWarningHandler(nullptr);
    return true;
  }();
  (void)installed;
  last_message.clear();
}

[[noreturn]] void throw_damaged() {
  throw Error("damaged TIFF file" + (last_message.empty() ? "" : ": " + last_message));
}

[[noreturn]] void throw_unwritten() {
  throw Error("could not be written completely; is the disk full? " + last_message);
}

struct Layout {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint16_t samples = 1;
  std::uint16_t bits = 1;
  std::uint16_t sample_format = SAMPLEFORMAT_UINT;
  std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
  std::uint16_t planar = PLANARCONFIG_CONTIG;
  std::uint16_t compression = COMPRESSION_NONE;
  bool premultiplied = false;
  bool has_alpha = false;

  bool separate() const { return planar == PLANARCONFIG_SEPARATE && samples > 1; }
  // Samples that lie side by side in a decoded row.
  std::size_t samples_in_row() const { return separate() ? 1 : samples; }
};

Layout layout_of(TIFF* tiff) {
  Layout layout;
  if (TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &layout.width) == 0 ||
      TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &layout.height) == 0) {
    throw Error("damaged TIFF file: its size is missing");
  }
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &layout.samples);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &layout.bits);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &layout.sample_format);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &layout.planar);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &layout.compression);
  if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &layout.photometric) == 0) {
    layout.photometric = layout.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
  }
  std::uint16_t extra_count = 0;
  std::uint16_t* extra = nullptr;
  if (TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extra_count, &extra) != 0 && extra_count > 0) {
    layout.has_alpha = extra[0] == EXTRASAMPLE_ASSOCALPHA || extra[0] == EXTRASAMPLE_UNASSALPHA;
    layout.premultiplied = extra[0] == EXTRASAMPLE_ASSOCALPHA;
  }
  return layout;
}

// The samples that the picture gets, or Error with what the file holds instead.
PixelFormat format_for(const Layout& layout) {
  if (layout.sample_format != SAMPLEFORMAT_UINT && layout.sample_format != SAMPLEFORMAT_VOID) {
    throw Error("TIFF with signed or floating-point samples; convert to 8- or 16-bit unsigned first");
  }
  const bool one_sample_depth = layout.bits == 1 || layout.bits == 2 || layout.bits == 4;
  if (layout.bits != 8 && layout.bits != 16 && !(one_sample_depth && layout.samples == 1)) {
    throw Error("TIFF with " + std::to_string(layout.bits) +
                " bits per sample; convert to 8 or 16 bits first");
  }
  const int bits = std::max<int>(layout.bits, 8);
  switch (layout.photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
      if (layout.samples == 1) return {1, bits};
      if (layout.samples == 2 && layout.has_alpha) return {4, bits};
      break;
    case PHOTOMETRIC_RGB:
      if (layout.samples == 3 || layout.samples == 4) return {layout.samples, bits};
      break;
    case PHOTOMETRIC_PALETTE:
      if (layout.samples == 1 && layout.bits <= 8) return {3, 8};
      break;
    case PHOTOMETRIC_SEPARATED:
      throw Error("CMYK TIFF files are not supported; convert to RGB first");
    case PHOTOMETRIC_YCBCR:
      if (layout.compression == COMPRESSION_JPEG && layout.samples == 3 && !layout.separate())
        return {3, bits};
      throw Error("YCbCr TIFF files without JPEG compression are not supported; convert to RGB first");
    default:
      throw Error("TIFF colour type " + std::to_string(layout.photometric) +
                  " is not supported; convert to RGB first");
  }
  throw Error("TIFF with " + std::to_string(layout.samples) +
              " samples per pixel; 1 (grey), 3 (RGB) and 4 (RGBA) are supported");
}

// Puts `count` decoded pixels into the picture from column x of row y on. In a separate layout `plane` is the
// sample that the row holds.
class RowStore {
 public:
  RowStore(TIFF* tiff, const Layout& layout, Image& image) : layout_(layout), image_(image) {
    if (layout.photometric != PHOTOMETRIC_PALETTE) return;
    if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &map_[0], &map_[1], &map_[2]) == 0) {
      throw Error("damaged TIFF file: its palette is missing");
    }
  }

  void put(const std::uint8_t* decoded, int x, int y, int count, int plane) {
    for (int i = 0; i < count; ++i) {
      for (std::size_t s = 0; s < layout_.samples_in_row(); ++s) {
        const int value = sample(decoded, static_cast<std::size_t>(i) * layout_.samples_in_row() + s);
        store(x + i, y, plane + static_cast<int>(s), value);
      }
    }
  }

  // The decoded row has the picture's own layout: it can be read in place.
  bool is_plain() const {
    return !layout_.separate() && layout_.bits >= 8 && layout_.samples == image_.format().channels &&
           layout_.photometric != PHOTOMETRIC_MINISWHITE && layout_.photometric != PHOTOMETRIC_PALETTE;
  }

 private:
  int sample(const std::uint8_t* decoded, std::size_t i) const {
    if (layout_.bits == 8) return decoded[i];
    if (layout_.bits == 16) return reinterpret_cast<const std::uint16_t*>(decoded)[i];
    const std::size_t bit = i * layout_.bits;
    const int shift = 8 - static_cast<int>(layout_.bits) - static_cast<int>(bit % 8);
    return (decoded[bit / 8] >> shift) & ((1 << layout_.bits) - 1);
  }

  void store(int x, int y, int s, int value) {
    const int largest = (1 << layout_.bits) - 1;
    switch (layout_.photometric) {
      case PHOTOMETRIC_PALETTE:
        for (int c = 0; c < 3; ++c) image_.set_sample(x, y, c, map_[c][value] >> 8);
        return;
      case PHOTOMETRIC_MINISBLACK:
      case PHOTOMETRIC_MINISWHITE: {
        if (s == 1) return image_.set_sample(x, y, 3, value);
        int grey = layout_.photometric == PHOTOMETRIC_MINISWHITE ? largest - value : value;
        if (layout_.bits < 8) grey = grey * 255 / largest;
        const int copies = image_.format().channels == 4 ? 3 : 1;
        for (int c = 0; c < copies; ++c) image_.set_sample(x, y, c, grey);
        return;
      }
      default:
        image_.set_sample(x, y, s, value);
    }
  }

  const Layout& layout_;
  Image& image_;
  std::uint16_t* map_[3] = {};
};

void read_scanlines(TIFF* tiff, const Layout& layout, Image& image, RowStore& store) {
  if (store.is_plain() && static_cast<std::size_t>(TIFFScanlineSize64(tiff)) == image.step()) {
    for (int y = 0; y < image.height(); ++y) {
      if (TIFFReadScanline(tiff, image.row(y), static_cast<std::uint32_t>(y), 0) != 1) throw_damaged();
    }
    return;
  }
  std::vector<std::uint8_t> decoded(static_cast<std::size_t>(TIFFScanlineSize64(tiff)));
  if (decoded.size() * 8 < static_cast<std::size_t>(image.width()) * layout.samples_in_row() * layout.bits) {
    throw_damaged();
  }
  const int planes = layout.separate() ? layout.samples : 1;
  for (int plane = 0; plane < planes; ++plane) {
    for (int y = 0; y < image.height(); ++y) {
      if (TIFFReadScanline(tiff, decoded.data(), static_cast<std::uint32_t>(y),
                           static_cast<std::uint16_t>(plane)) != 1) {
        throw_damaged();
      }
      store.put(decoded.data(), 0, y, image.width(), plane);
    }
  }
}

void read_tiles(TIFF* tiff, const Layout& layout, const Image& image, RowStore& store) {
  std::uint32_t tile_width = 0;
  std::uint32_t tile_height = 0;
  TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tile_width);
  TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tile_height);
  const auto row_bytes = static_cast<std::size_t>(TIFFTileRowSize64(tiff));
  const auto tile_bytes = static_cast<std::size_t>(TIFFTileSize64(tiff));
  if (tile_width == 0 || tile_height == 0 ||
      row_bytes * 8 < tile_width * layout.samples_in_row() * layout.bits ||
      tile_bytes < row_bytes * tile_height || tile_bytes > image.bytes() * 4 + (64u << 20)) {
    throw Error("damaged TIFF file: impossible tile size");
  }
  std::vector<std::uint8_t> tile(tile_bytes);
  const int planes = layout.separate() ? layout.samples : 1;
  for (int plane = 0; plane < planes; ++plane) {
    for (std::uint32_t y = 0; y < layout.height; y += tile_height) {
      for (std::uint32_t x = 0; x < layout.width; x += tile_width) {
        if (TIFFReadTile(tiff, tile.data(), x, y, 0, static_cast<std::uint16_t>(plane)) < 0) throw_damaged();
        const std::uint32_t rows = std::min(tile_height, layout.height - y);
        const std::uint32_t columns = std::min(tile_width, layout.width - x);
        for (std::uint32_t row = 0; row < rows; ++row) {
          store.put(tile.data() + row * row_bytes, static_cast<int>(x), static_cast<int>(y + row),
                    static_cast<int>(columns), plane);
        }
      }
    }
  }
}

Metadata metadata_of(TIFF* tiff, const Layout& layout) {
  Metadata metadata;
  metadata.premultiplied = layout.premultiplied;
  std::uint32_t length = 0;
  void* profile = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &length, &profile) != 0 && length > 0) {
    const auto* bytes = static_cast<const std::uint8_t*>(profile);
    metadata.icc_profile.assign(bytes, bytes + length);
  }
  void* packet = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_XMLPACKET, &length, &packet) != 0 && length > 0) {
    metadata.xmp.assign(static_cast<const char*>(packet), length);
  }
  std::uint16_t orientation = ORIENTATION_TOPLEFT;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &orientation);
  if (orientation <= ORIENTATION_LEFTBOT) metadata.orientation = std::max<int>(1, orientation);
  float x = 0;
  float y = 0;
  std::uint16_t unit = RESUNIT_NONE;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
  if (TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) != 0 && TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y) != 0 &&
      unit != RESUNIT_NONE) {
    const double per_inch = unit == RESUNIT_CENTIMETER ? kCentimetresPerInch : 1;
    metadata.dpi_x = x * per_inch;
    metadata.dpi_y = y * per_inch;
  }
  return metadata;
}

}  // namespace

Image read_tiff(const std::filesystem::path& file) {
  install_handlers();
  // "m" forbids memory mapping: a file that shrinks while it is read must not end the program.
  const Tiff tiff(TIFFOpen(file.c_str(), "rm"));
  if (!tiff) throw_damaged();
  const Layout layout = layout_of(tiff.get());
  const PixelFormat format = format_for(layout);
  if (layout.width > 0x7fffffff || layout.height > 0x7fffffff)
    throw Error("damaged TIFF file: impossible size");
  if (layout.photometric == PHOTOMETRIC_YCBCR)
    TIFFSetField(tiff.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);

  Image image(static_cast<int>(layout.width), static_cast<int>(layout.height), format);
  RowStore store(tiff.get(), layout, image);
  if (TIFFIsTiled(tiff.get()) != 0) {
    read_tiles(tiff.get(), layout, image, store);
  } else {
    read_scanlines(tiff.get(), layout, image, store);
  }
  image.metadata = metadata_of(tiff.get(), layout);
  image.metadata.exif = exif::read_from_tiff(file, TIFFCurrentDirOffset(tiff.get()));
  return image;
}

void write_tiff(const std::filesystem::path& file, const Image& image) {
  constexpr std::uint64_t kClassicLimit = 0xf0000000;
  constexpr std::uint32_t kStripBytes = 1u << 18;
  install_handlers();
  Tiff tiff(TIFFOpen(file.c_str(), image.bytes() > kClassicLimit ? "w8" : "w"));
  if (!tiff) throw Error("cannot be written: " + last_message);

  const PixelFormat format = image.format();
  const Metadata& metadata = image.metadata;
  TIFF* out = tiff.get();
  TIFFSetField(out, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(image.width()));
  TIFFSetField(out, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(image.height()));
  TIFFSetField(out, TIFFTAG_BITSPERSAMPLE, format.bits);
  TIFFSetField(out, TIFFTAG_SAMPLESPERPIXEL, format.channels);
  TIFFSetField(out, TIFFTAG_PHOTOMETRIC, format.channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
  TIFFSetField(out, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(out, TIFFTAG_ORIENTATION, metadata.orientation);
  TIFFSetField(out, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  TIFFSetField(out, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  TIFFSetField(out, TIFFTAG_ROWSPERSTRIP,
               std::max<std::uint32_t>(1, kStripBytes / static_cast<std::uint32_t>(std::min<std::size_t>(
                                                            image.step(), kStripBytes))));
  if (format.channels == 4) {
    const std::uint16_t alpha = metadata.premultiplied ? EXTRASAMPLE_ASSOCALPHA : EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(out, TIFFTAG_EXTRASAMPLES, 1, &alpha);
  }
  if (metadata.dpi_x > 0 && metadata.dpi_y > 0) {
    TIFFSetField(out, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(out, TIFFTAG_XRESOLUTION, metadata.dpi_x);
    TIFFSetField(out, TIFFTAG_YRESOLUTION, metadata.dpi_y);
  }
  if (!metadata.icc_profile.empty()) {
    TIFFSetField(out, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(metadata.icc_profile.size()),
                 metadata.icc_profile.data());
  }
  if (!metadata.xmp.empty()) {
    TIFFSetField(out, TIFFTAG_XMLPACKET, static_cast<std::uint32_t>(metadata.xmp.size()),
                 metadata.xmp.data());
  }
  const exif::Block exif = exif::block_for(image);
  for (const auto& [tag, text] : exif::main_texts(exif))
    TIFFSetField(out, static_cast<ttag_t>(tag), text.c_str());
  for (const int tag : exif::directories(exif)) TIFFSetField(out, static_cast<ttag_t>(tag), std::uint64_t{0});
  // The predictor works in the buffer it is given.
  std::vector<std::uint8_t> row(image.step());
  for (int y = 0; y < image.height(); ++y) {
    std::copy_n(image.row(y), row.size(), row.begin());
    if (TIFFWriteScanline(out, row.data(), static_cast<std::uint32_t>(y), 0) != 1) {
      throw_unwritten();
    }
  }
  if (TIFFFlush(out) != 1) throw_unwritten();
  tiff.reset();
  exif::append_to_tiff(file, exif);
}

}  // namespace kyv::host::codec
