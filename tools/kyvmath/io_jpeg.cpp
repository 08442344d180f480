#include <cstdio>
// jpeglib.h needs FILE.
#include <jpeglib.h>

#include <jerror.h>

#include <cmath>
#include <csetjmp>
#include <new>
#include <string>
#include <string_view>

#include "codecs_posix.h"
#include "error.h"
#include "exif.h"
#include "file_handle.h"

// libjpeg reports errors through a handler that must not return. Every call that may fail is made inside
// guarded(), whose functor owns nothing with a destructor, so that a jump skips none; a call outside would
// jump into a function that has returned.
namespace kyv::host::codec {
namespace {

constexpr double kCentimetresPerInch = 2.54;
constexpr int kApp1 = JPEG_APP0 + 1;
constexpr std::size_t kLongestMarker = 65533;
constexpr std::string_view kExifMark("Exif\0\0", 6);
constexpr std::string_view kXmpMark("http://ns.adobe.com/xap/1.0/\0", 29);

struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

JpegErrors* errors_of(j_common_ptr codec) { return reinterpret_cast<JpegErrors*>(codec->err); }

[[noreturn]] void store_error(j_common_ptr codec) {
  JpegErrors* errors = errors_of(codec);
  codec->err->format_message(codec, errors->message);
  std::longjmp(errors->jump, 1);
}

// A decoder that meets damage warns and goes on with grey pixels: such a picture is refused. Warnings about
// bytes or markers that do no harm are not damage.
void judge_message(j_common_ptr codec, int level) {
  if (level >= 0) return;
  switch (codec->err->msg_code) {
    case JWRN_EXTRANEOUS_DATA:
    case JWRN_ADOBE_XFORM:
    case JWRN_JFIF_MAJOR:
      return;
    default:
      store_error(codec);
  }
}

void initialise(JpegErrors& errors) {
  jpeg_std_error(&errors.manager);
  errors.manager.error_exit = store_error;
  errors.manager.emit_message = judge_message;
}

template <typename Call>
void guarded(JpegErrors& errors, const char* what, Call call) {
  if (setjmp(errors.jump) != 0) throw Error(std::string(what) + errors.message);
  call();
}

struct Reader {
  JpegErrors errors{};
  jpeg_decompress_struct codec{};

  Reader() {
    codec.err = &errors.manager;
    initialise(errors);
    guarded(errors, "JPEG decoder: ", [this] { jpeg_create_decompress(&codec); });
  }
  ~Reader() { jpeg_destroy_decompress(&codec); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
};

struct Writer {
  JpegErrors errors{};
  jpeg_compress_struct codec{};

  Writer() {
    codec.err = &errors.manager;
    initialise(errors);
    guarded(errors, "JPEG encoder: ", [this] { jpeg_create_compress(&codec); });
  }
  ~Writer() { jpeg_destroy_compress(&codec); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
};

// Called between the header and the end of decompression, which forgets the markers.
Metadata metadata_of(Reader& reader) {
  jpeg_decompress_struct& codec = reader.codec;
  Metadata metadata;
  JOCTET* profile = nullptr;
  unsigned length = 0;
  guarded(reader.errors, "damaged JPEG file: ", [&] { jpeg_read_icc_profile(&codec, &profile, &length); });
  if (profile != nullptr) {
    metadata.icc_profile.assign(profile, profile + length);
    std::free(profile);
  }
  for (const jpeg_marker_struct* marker = codec.marker_list; marker != nullptr; marker = marker->next) {
    const std::string_view text(reinterpret_cast<const char*>(marker->data), marker->data_length);
    if (marker->marker != kApp1) continue;
    if (text.starts_with(kExifMark)) metadata.exif.assign(text.begin() + kExifMark.size(), text.end());
    if (text.starts_with(kXmpMark)) metadata.xmp = text.substr(kXmpMark.size());
  }
  metadata.orientation = exif::orientation_of(metadata.exif);
  if (codec.saw_JFIF_marker != 0 && codec.density_unit != 0) {
    const double per_inch = codec.density_unit == 2 ? kCentimetresPerInch : 1;
    metadata.dpi_x = codec.X_density * per_inch;
    metadata.dpi_y = codec.Y_density * per_inch;
  }
  return metadata;
}

// What a marker holds: nothing when there is nothing, or more than a marker's room.
template <typename Bytes>
std::string marked(std::string_view mark, const Bytes& bytes) {
  if (bytes.empty() || mark.size() + bytes.size() > kLongestMarker) return {};
  return std::string(mark) + std::string(bytes.begin(), bytes.end());
}

}  // namespace

Image read_jpeg(const std::filesystem::path& file) {
  const FileHandle in = open_file(file, "rb");
  Reader reader;
  jpeg_decompress_struct& codec = reader.codec;
  const char* const damaged = "damaged JPEG file: ";
  guarded(reader.errors, damaged, [&] {
    jpeg_stdio_src(&codec, in.get());
    jpeg_save_markers(&codec, kApp1, 0xffff);
    jpeg_save_markers(&codec, JPEG_APP0 + 2, 0xffff);
    jpeg_read_header(&codec, TRUE);
  });
  if (codec.num_components != 1 && codec.num_components != 3) {
    throw Error("CMYK and other " + std::to_string(codec.num_components) +
                "-colour JPEG files are not supported; convert to RGB first");
  }

  guarded(reader.errors, damaged, [&] {
    codec.out_color_space = codec.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    codec.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&codec);
  });
  Image image(static_cast<int>(codec.output_width), static_cast<int>(codec.output_height),
              {codec.output_components, 8});
  image.metadata = metadata_of(reader);
  guarded(reader.errors, damaged, [&] {
    while (codec.output_scanline < codec.output_height) {
      JSAMPROW row = image.row(static_cast<int>(codec.output_scanline));
      jpeg_read_scanlines(&codec, &row, 1);
    }
    jpeg_finish_decompress(&codec);
  });
  return image;
}

void write_jpeg(const std::filesystem::path& file, const Image& image, const EncodeOptions& options) {
  constexpr int kLongestSide = JPEG_MAX_DIMENSION;
  if (image.width() > kLongestSide || image.height() > kLongestSide) {
    throw Error("JPEG holds at most " + std::to_string(kLongestSide) + " pixels a side; write PNG or TIFF");
  }
  const std::string exif = marked(kExifMark, exif::block_for(image));
  const std::string xmp = marked(kXmpMark, image.metadata.xmp);
  FileHandle out = open_file(file, "wb");
  {
    Writer writer;
    jpeg_compress_struct& codec = writer.codec;
    const Metadata& metadata = image.metadata;
    guarded(writer.errors, "could not be written completely; is the disk full? ", [&] {
      jpeg_stdio_dest(&codec, out.get());
      codec.image_width = static_cast<JDIMENSION>(image.width());
      codec.image_height = static_cast<JDIMENSION>(image.height());
      codec.input_components = image.format().channels;
      codec.in_color_space = image.format().channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
      jpeg_set_defaults(&codec);
      jpeg_set_quality(&codec, options.jpeg_quality, TRUE);
      codec.comp_info[0].h_samp_factor = options.subsampling == Subsampling::k444 ? 1 : 2;
      codec.comp_info[0].v_samp_factor = options.subsampling == Subsampling::k420 ? 2 : 1;
      if (options.progressive) jpeg_simple_progression(&codec);
      codec.optimize_coding = TRUE;
      if (metadata.dpi_x > 0 && metadata.dpi_y > 0) {
        codec.density_unit = 1;
        codec.X_density = static_cast<UINT16>(std::lround(metadata.dpi_x));
        codec.Y_density = static_cast<UINT16>(std::lround(metadata.dpi_y));
      }
      jpeg_start_compress(&codec, TRUE);
      for (const std::string* marker : {&exif, &xmp}) {
        if (marker->empty()) continue;
        jpeg_write_marker(&codec, kApp1, reinterpret_cast<const JOCTET*>(marker->data()),
                          static_cast<unsigned>(marker->size()));
      }
      if (!metadata.icc_profile.empty()) {
        jpeg_write_icc_profile(&codec, metadata.icc_profile.data(),
                               static_cast<unsigned>(metadata.icc_profile.size()));
      }
      while (codec.next_scanline < codec.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(image.row(static_cast<int>(codec.next_scanline)));
        jpeg_write_scanlines(&codec, &row, 1);
      }
      jpeg_finish_compress(&codec);
    });
  }
  close_written(std::move(out));
}

}  // namespace kyv::host::codec
