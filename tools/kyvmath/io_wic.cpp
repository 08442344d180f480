#include <initguid.h>
// The identifiers of wincodec.h are defined, not only declared, after initguid.h.
#include <wincodec.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "error.h"
#include "image_io.h"

// Pictures through the Windows Imaging Component. Its colour order is blue first at 8 bits; ours is red
// first.
namespace kyv::host::codec {
namespace {

template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ~ComPointer() {
    if (pointer_ != nullptr) pointer_->Release();
  }
  ComPointer(ComPointer&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;

  Interface* operator->() const { return pointer_; }
  Interface* get() const { return pointer_; }
  Interface** out() { return &pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }

 private:
  Interface* pointer_ = nullptr;
};

// Per thread, as the component asks for.
class Apartment {
 public:
  Apartment() : initialised_(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
  ~Apartment() {
    if (initialised_) CoUninitialize();
  }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;

 private:
  bool initialised_;
};

void check(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  char code[16];
  std::snprintf(code, sizeof code, "%08lX", static_cast<unsigned long>(result));
  throw Error(std::string(what) + " (0x" + code + ")");
}

ComPointer<IWICImagingFactory> make_factory() {
  ComPointer<IWICImagingFactory> factory;
  check(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                         reinterpret_cast<void**>(factory.out())),
        "the Windows Imaging Component is not available");
  return factory;
}

// What is kept of the four channels that small samples and palettes are expanded to.
enum class Channels { kAll, kGrey, kUsed };

// How pixels of a format of the component become ours.
struct Reading {
  const GUID* from;  // the file's format
  const GUID* as;    // what the component converts it to; the same when it need not
  PixelFormat format;
  bool blue_first;
  bool premultiplied = false;
  Channels keep = Channels::kAll;
};

const std::array<Reading, 20>& readings() {
  using enum Channels;
  static const std::array<Reading, 20> table{{
      {&GUID_WICPixelFormatBlackWhite, &GUID_WICPixelFormat32bppBGRA, {4, 8}, true, false, kGrey},
      {&GUID_WICPixelFormat2bppGray, &GUID_WICPixelFormat32bppBGRA, {4, 8}, true, false, kGrey},
      {&GUID_WICPixelFormat4bppGray, &GUID_WICPixelFormat32bppBGRA, {4, 8}, true, false, kGrey},
      {&GUID_WICPixelFormat8bppGray, &GUID_WICPixelFormat8bppGray, {1, 8}, false},
      {&GUID_WICPixelFormat16bppGray, &GUID_WICPixelFormat16bppGray, {1, 16}, false},
      {&GUID_WICPixelFormat24bppBGR, &GUID_WICPixelFormat24bppBGR, {3, 8}, true},
      {&GUID_WICPixelFormat24bppRGB, &GUID_WICPixelFormat24bppRGB, {3, 8}, false},
      {&GUID_WICPixelFormat32bppBGR, &GUID_WICPixelFormat24bppBGR, {3, 8}, true},
      {&GUID_WICPixelFormat32bppBGRA, &GUID_WICPixelFormat32bppBGRA, {4, 8}, true},
      {&GUID_WICPixelFormat32bppRGBA, &GUID_WICPixelFormat32bppRGBA, {4, 8}, false},
      {&GUID_WICPixelFormat32bppPBGRA, &GUID_WICPixelFormat32bppPBGRA, {4, 8}, true, true},
      {&GUID_WICPixelFormat32bppPRGBA, &GUID_WICPixelFormat32bppPRGBA, {4, 8}, false, true},
      {&GUID_WICPixelFormat48bppRGB, &GUID_WICPixelFormat48bppRGB, {3, 16}, false},
      {&GUID_WICPixelFormat64bppRGBA, &GUID_WICPixelFormat64bppRGBA, {4, 16}, false},
      {&GUID_WICPixelFormat64bppPRGBA, &GUID_WICPixelFormat64bppPRGBA, {4, 16}, false, true},
      {&GUID_WICPixelFormat1bppIndexed, &GUID_WICPixelFormat32bppBGRA, {4, 8}, true, false, kUsed},
      {&GUID_WICPixelFormat2bppIndexed, &GUID_WICPixelFormat32bppBGRA, {4, 8}, true, false, kUsed},
      {&GUID_WICPixelFormat4bppIndexed, &GUID_WICPixelFormat32bppBGRA, {4, 8}, true, false, kUsed},
      {&GUID_WICPixelFormat8bppIndexed, &GUID_WICPixelFormat32bppBGRA, {4, 8}, true, false, kUsed},
      {&GUID_WICPixelFormat16bppBGR565, &GUID_WICPixelFormat24bppBGR, {3, 8}, true},
  }};
  return table;
}

const Reading& reading_for(const GUID& from) {
  const auto& table = readings();
  const auto found =
      std::ranges::find_if(table, [&](const Reading& r) { return IsEqualGUID(*r.from, from); });
  if (found != table.end()) return *found;
  if (IsEqualGUID(from, GUID_WICPixelFormat32bppCMYK) || IsEqualGUID(from, GUID_WICPixelFormat64bppCMYK)) {
    throw Error("CMYK files are not supported; convert to RGB first");
  }
  throw Error("its samples are neither 8- nor 16-bit grey, RGB or RGBA; convert it first");
}

void swap_red_and_blue(Image& image) {
  const std::size_t channels = static_cast<std::size_t>(image.format().channels);
  for (int y = 0; y < image.height(); ++y) {
    std::uint8_t* p = image.row(y);
    for (std::size_t i = 0; i < image.samples_per_row(); i += channels) std::swap(p[i], p[i + 2]);
  }
}

bool is_opaque_everywhere(const Image& image) {
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      if (image.sample(x, y, 3) != 255) return false;
    }
  }
  return true;
}

Image first_channels(const Image& image, int channels) {
  Image result(image.width(), image.height(), {channels, image.format().bits});
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      for (int c = 0; c < channels; ++c) result.set_sample(x, y, c, image.sample(x, y, c));
    }
  }
  return result;
}

// In bands, because the component counts bytes in 32 bits.
void copy_pixels(IWICBitmapSource* source, Image& image) {
  constexpr std::size_t kBandBytes = std::size_t{64} << 20;
  const int band = std::max(1, static_cast<int>(kBandBytes / image.step()));
  for (int y = 0; y < image.height(); y += band) {
    const int rows = std::min(band, image.height() - y);
    const WICRect area{0, y, image.width(), rows};
    check(source->CopyPixels(&area, static_cast<UINT>(image.step()),
                             static_cast<UINT>(image.step() * static_cast<std::size_t>(rows)), image.row(y)),
          "damaged: its pixels cannot be read");
  }
}

std::vector<std::uint8_t> icc_profile_of(IWICImagingFactory* factory, IWICBitmapFrameDecode* frame) {
  UINT count = 0;
  if (FAILED(frame->GetColorContexts(0, nullptr, &count)) || count == 0) return {};
  ComPointer<IWICColorContext> context;
  UINT size = 0;
  WICColorContextType type = WICColorContextUninitialized;
  if (FAILED(factory->CreateColorContext(context.out())) ||
      FAILED(frame->GetColorContexts(1, reinterpret_cast<IWICColorContext**>(context.out()), &count)) ||
      FAILED(context->GetType(&type)) || type != WICColorContextProfile ||
      FAILED(context->GetProfileBytes(0, nullptr, &size))) {
    return {};
  }
  std::vector<std::uint8_t> profile(size);
  if (FAILED(context->GetProfileBytes(size, profile.data(), &size))) return {};
  return profile;
}

// The format that the component stores ours in; blue comes first at 8 bits.
const GUID& storage_format(PixelFormat format, bool premultiplied) {
  if (format.bits == 8) {
    if (format.channels == 1) return GUID_WICPixelFormat8bppGray;
    if (format.channels == 3) return GUID_WICPixelFormat24bppBGR;
    return premultiplied ? GUID_WICPixelFormat32bppPBGRA : GUID_WICPixelFormat32bppBGRA;
  }
  if (format.channels == 1) return GUID_WICPixelFormat16bppGray;
  if (format.channels == 3) return GUID_WICPixelFormat48bppRGB;
  return premultiplied ? GUID_WICPixelFormat64bppPRGBA : GUID_WICPixelFormat64bppRGBA;
}

const GUID& container_of(FileType type) {
  if (type == FileType::kPng) return GUID_ContainerFormatPng;
  return type == FileType::kJpeg ? GUID_ContainerFormatJpeg : GUID_ContainerFormatTiff;
}

void set_option(IPropertyBag2* bag, std::wstring name, const VARIANT& value) {
  PROPBAG2 property{};
  property.pstrName = name.data();
  VARIANT copy = value;
  bag->Write(1, &property, &copy);
}

void set_jpeg_options(IPropertyBag2* bag, const EncodeOptions& options) {
  if (options.progressive) throw Error("this system's JPEG encoder writes no progressive files");
  if (bag == nullptr) return;
  VARIANT value;
  VariantInit(&value);
  value.vt = VT_R4;
  value.fltVal = static_cast<float>(options.jpeg_quality) / 100;
  set_option(bag, L"ImageQuality", value);
  VariantInit(&value);
  value.vt = VT_UI1;
  value.bVal = static_cast<BYTE>(options.subsampling == Subsampling::k420   ? WICJpegYCrCbSubsampling420
                                 : options.subsampling == Subsampling::k422 ? WICJpegYCrCbSubsampling422
                                                                            : WICJpegYCrCbSubsampling444);
  set_option(bag, L"JpegYCrCbSubsampling", value);
}

// As EXIF or TIFF number it; 1 where the component does not tell.
int orientation_of(IWICBitmapFrameDecode* frame, FileType type) {
  const wchar_t* const place = type == FileType::kJpeg   ? L"/app1/ifd/{ushort=274}"
                               : type == FileType::kTiff ? L"/ifd/{ushort=274}"
                                                         : L"/eXIf/ifd/{ushort=274}";
  ComPointer<IWICMetadataQueryReader> reader;
  PROPVARIANT value{};
  if (FAILED(frame->GetMetadataQueryReader(reader.out())) ||
      FAILED(reader->GetMetadataByName(place, &value))) {
    return 1;
  }
  const bool known = value.vt == VT_UI2 && value.uiVal >= 1 && value.uiVal <= 8;
  return known ? value.uiVal : 1;
}

void write_pixels(IWICBitmapFrameEncode* frame, const Image& image, bool blue_first) {
  constexpr std::size_t kBandBytes = std::size_t{1} << 20;
  const int band = std::max(1, static_cast<int>(kBandBytes / image.step()));
  const std::size_t channels = static_cast<std::size_t>(image.format().channels);
  std::vector<std::uint8_t> rows;
  for (int y = 0; y < image.height(); y += band) {
    const int count = std::min(band, image.height() - y);
    rows.assign(image.row(y), image.row(y) + image.step() * static_cast<std::size_t>(count));
    if (blue_first) {
      for (std::size_t i = 0; i < rows.size(); i += channels) std::swap(rows[i], rows[i + 2]);
    }
    check(frame->WritePixels(static_cast<UINT>(count), static_cast<UINT>(image.step()),
                             static_cast<UINT>(rows.size()), rows.data()),
          "could not be written completely; is the disk full?");
  }
}

}  // namespace

Image decode(const std::filesystem::path& file, FileType type) {
  const Apartment apartment;
  const ComPointer<IWICImagingFactory> factory = make_factory();
  const std::string damaged = std::string("damaged ") + name_of(type) + " file";
  ComPointer<IWICBitmapDecoder> decoder;
  ComPointer<IWICBitmapFrameDecode> frame;
  WICPixelFormatGUID from{};
  UINT width = 0;
  UINT height = 0;
  check(factory->CreateDecoderFromFilename(file.c_str(), nullptr, GENERIC_READ,
                                           WICDecodeMetadataCacheOnDemand, decoder.out()),
        damaged.c_str());
  check(decoder->GetFrame(0, frame.out()), damaged.c_str());
  check(frame->GetPixelFormat(&from), damaged.c_str());
  check(frame->GetSize(&width, &height), damaged.c_str());
  if (width > 0x7fffffff || height > 0x7fffffff) throw Error(damaged + ": impossible size");

  const Reading& reading = reading_for(from);
  Image image(static_cast<int>(width), static_cast<int>(height), reading.format);
  if (IsEqualGUID(*reading.from, *reading.as)) {
    copy_pixels(frame.get(), image);
  } else {
    ComPointer<IWICBitmapSource> converted;
    check(WICConvertBitmapSource(*reading.as, frame.get(), converted.out()),
          "its pixel format cannot be converted");
    copy_pixels(converted.get(), image);
  }
  if (reading.blue_first) swap_red_and_blue(image);
  if (reading.keep == Channels::kGrey) image = first_channels(image, 1);
  if (reading.keep == Channels::kUsed && is_opaque_everywhere(image)) image = first_channels(image, 3);

  image.metadata.premultiplied = reading.premultiplied;
  image.metadata.orientation = orientation_of(frame.get(), type);
  image.metadata.icc_profile = icc_profile_of(factory.get(), frame.get());
  double x = 0;
  double y = 0;
  if (SUCCEEDED(frame->GetResolution(&x, &y))) {
    image.metadata.dpi_x = x;
    image.metadata.dpi_y = y;
  }
  return image;
}

void encode(const std::filesystem::path& file, FileType type, const Image& image,
            const EncodeOptions& options) {
  const Apartment apartment;
  const ComPointer<IWICImagingFactory> factory = make_factory();
  ComPointer<IWICStream> stream;
  ComPointer<IWICBitmapEncoder> encoder;
  ComPointer<IWICBitmapFrameEncode> frame;
  ComPointer<IPropertyBag2> properties;
  check(factory->CreateStream(stream.out()), "cannot be written");
  check(stream->InitializeFromFilename(file.c_str(), GENERIC_WRITE), "cannot be opened for writing");
  check(factory->CreateEncoder(container_of(type), nullptr, encoder.out()), "no encoder for this file type");
  check(encoder->Initialize(stream.get(), WICBitmapEncoderNoCache), "cannot be written");
  check(encoder->CreateNewFrame(frame.out(), properties.out()), "cannot be written");
  if (type == FileType::kJpeg) set_jpeg_options(properties.get(), options);
  check(frame->Initialize(properties.get()), "cannot be written");
  check(frame->SetSize(static_cast<UINT>(image.width()), static_cast<UINT>(image.height())), "is too large");

  const Metadata& metadata = image.metadata;
  const GUID& wanted = storage_format(image.format(), metadata.premultiplied && type == FileType::kTiff);
  WICPixelFormatGUID stored = wanted;
  check(frame->SetPixelFormat(&stored), "cannot hold this picture");
  if (!IsEqualGUID(stored, wanted)) {
    throw Error(std::string("this system's ") + name_of(type) + " encoder cannot hold " +
                describe(image.format()));
  }
  if (metadata.dpi_x > 0 && metadata.dpi_y > 0) frame->SetResolution(metadata.dpi_x, metadata.dpi_y);
  ComPointer<IWICColorContext> context;
  if (!metadata.icc_profile.empty() && SUCCEEDED(factory->CreateColorContext(context.out())) &&
      SUCCEEDED(context->InitializeFromMemory(metadata.icc_profile.data(),
                                              static_cast<UINT>(metadata.icc_profile.size())))) {
    frame->SetColorContexts(1, context.out());
  }
  write_pixels(frame.get(), image, image.format().bits == 8 && image.format().channels >= 3);
  check(frame->Commit(), "could not be written completely; is the disk full?");
  check(encoder->Commit(), "could not be written completely; is the disk full?");
}

}  // namespace kyv::host::codec
