#include "exif.h"

#include <libexif/exif-data.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <utility>

#include "file_handle.h"

namespace kyv::host::exif {
namespace {

constexpr std::array<char, 6> kMark{'E', 'x', 'i', 'f', 0, 0};
constexpr std::size_t kLongestBlock = 65535;

struct Unreference {
  void operator()(ExifData* data) const { exif_data_unref(data); }
};
using Data = std::unique_ptr<ExifData, Unreference>;

Data empty_data() {
  Data data(exif_data_new());
  if (!data) throw std::bad_alloc();
  // What the library does not know goes along unchanged.
  exif_data_unset_option(data.get(), EXIF_DATA_OPTION_IGNORE_UNKNOWN_TAGS);
  exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
  return data;
}

Data parse(const Block& block) {
  Data data = empty_data();
  Block marked(kMark.begin(), kMark.end());
  marked.insert(marked.end(), block.begin(), block.end());
  if (!block.empty()) exif_data_load_data(data.get(), marked.data(), static_cast<unsigned>(marked.size()));
  return data;
}

bool is_empty(const ExifData& data) {
  return std::ranges::all_of(data.ifd, [](const ExifContent* content) { return content->count == 0; });
}

Block saved(ExifData* data) {
  unsigned char* bytes = nullptr;
  unsigned size = 0;
  exif_data_save_data(data, &bytes, &size);
  const std::unique_ptr<unsigned char, decltype(&std::free)> owner(bytes, std::free);
  if (size <= kMark.size() || size > kLongestBlock) return {};
  return {bytes + kMark.size(), bytes + size};
}

// Adds an entry with room for `components` values of this format, all zero; null without memory.
ExifEntry* add_entry(ExifContent* content, int tag, ExifFormat format, unsigned long components) {
  ExifEntry* entry = exif_entry_new();
  if (entry == nullptr) return nullptr;
  entry->tag = static_cast<ExifTag>(tag);
  entry->format = format;
  entry->components = components;
  entry->size = static_cast<unsigned>(exif_format_get_size(format) * components);
  entry->data = static_cast<unsigned char*>(std::calloc(std::max(1u, entry->size), 1));
  if (entry->data != nullptr) exif_content_add_entry(content, entry);
  ExifEntry* const kept = entry->data == nullptr ? nullptr : entry;
  exif_entry_unref(entry);
  return kept;
}

void set_number(ExifData* data, ExifEntry* entry, int value) {
  const ExifByteOrder order = exif_data_get_byte_order(data);
  if (entry == nullptr || entry->components != 1) return;
  if (entry->format == EXIF_FORMAT_SHORT) exif_set_short(entry->data, order, static_cast<ExifShort>(value));
  if (entry->format == EXIF_FORMAT_LONG) exif_set_long(entry->data, order, static_cast<ExifLong>(value));
}

void remove_thumbnail(ExifData* data) {
  std::free(std::exchange(data->data, nullptr));
  data->size = 0;
  ExifContent* content = data->ifd[EXIF_IFD_1];
  while (content->count > 0) exif_content_remove_entry(content, content->entries[0]);
}

// The directories beside the main one that TIFF files have room for.
struct Directory {
  int tag;
  ExifIfd ifd;
};
constexpr std::array<Directory, 2> kDirectories{{{34665, EXIF_IFD_EXIF}, {34853, EXIF_IFD_GPS}}};

// Points to a directory of its own, which is not kept.
constexpr int kInteroperability = 0xa005;

constexpr std::array<int, 7> kMainTexts{EXIF_TAG_IMAGE_DESCRIPTION, EXIF_TAG_MAKE,      EXIF_TAG_MODEL,
                                        EXIF_TAG_SOFTWARE,          EXIF_TAG_DATE_TIME, EXIF_TAG_ARTIST,
                                        EXIF_TAG_COPYRIGHT};

// Reads and writes numbers of a TIFF file in its byte order.
class TiffBytes {
 public:
  TiffBytes(const std::filesystem::path& file, const char* mode) : file_(open_file(file, mode)) {
    std::array<unsigned char, 4> head{};
    read(0, head.data(), head.size());
    order_ = head[0] == 'M' ? EXIF_BYTE_ORDER_MOTOROLA : EXIF_BYTE_ORDER_INTEL;
    classic_ = exif_get_short(head.data() + 2, order_) == 42;
  }

  ExifByteOrder order() const { return order_; }
  bool is_classic() const { return classic_; }

  bool read(std::uint64_t at, void* bytes, std::size_t count) {
    return std::fseek(file_.get(), static_cast<long>(at), SEEK_SET) == 0 &&
           std::fread(bytes, 1, count, file_.get()) == count;
  }
  std::uint16_t short_at(std::uint64_t at) {
    std::array<unsigned char, 2> bytes{};
    read(at, bytes.data(), bytes.size());
    return exif_get_short(bytes.data(), order_);
  }
  std::uint32_t long_at(std::uint64_t at) {
    std::array<unsigned char, 4> bytes{};
    read(at, bytes.data(), bytes.size());
    return exif_get_long(bytes.data(), order_);
  }
  // On an even address, as directories lie.
  std::uint32_t end() {
    std::fseek(file_.get(), 0, SEEK_END);
    return static_cast<std::uint32_t>(std::ftell(file_.get()) + 1) / 2 * 2;
  }
  void put(std::uint64_t at, const Block& bytes) {
    std::fseek(file_.get(), static_cast<long>(at), SEEK_SET);
    std::fwrite(bytes.data(), 1, bytes.size(), file_.get());
  }
  void close() { close_written(std::move(file_)); }

 private:
  FileHandle file_;
  ExifByteOrder order_ = EXIF_BYTE_ORDER_INTEL;
  bool classic_ = false;
};

constexpr std::size_t kEntryBytes = 12;

// The place of the entry's value or, where that is longer than four bytes, of its offset.
std::uint64_t value_field(std::uint64_t directory, int index) {
  return directory + 2 + static_cast<std::uint64_t>(index) * kEntryBytes + 8;
}

// Calls action(directory, field) for each entry of the main directory that points to another one.
template <typename Action>
void for_each_directory(TiffBytes& tiff, std::uint64_t main, Action action) {
  const int count = tiff.short_at(main);
  for (int i = 0; i < count; ++i) {
    const std::uint64_t field = value_field(main, i);
    const auto* const found = std::ranges::find(kDirectories, tiff.short_at(field - 8), &Directory::tag);
    if (found != kDirectories.end()) action(*found, field);
  }
}

template <typename Wanted>
void read_directory(TiffBytes& tiff, std::uint64_t directory, ExifContent* content, Wanted wanted) {
  const int count = tiff.short_at(directory);
  for (int i = 0; i < count; ++i) {
    const std::uint64_t field = value_field(directory, i);
    const int tag = tiff.short_at(field - 8);
    const auto format = static_cast<ExifFormat>(tiff.short_at(field - 6));
    const std::uint32_t components = tiff.long_at(field - 4);
    const std::size_t unit = exif_format_get_size(format);
    if (!wanted(tag) || unit == 0 || components == 0 || components > kLongestBlock / unit) continue;
    ExifEntry* entry = add_entry(content, tag, format, components);
    if (entry == nullptr) return;
    const std::uint64_t place = entry->size <= 4 ? field : tiff.long_at(field);
    if (!tiff.read(place, entry->data, entry->size)) exif_content_remove_entry(content, entry);
  }
}

// A directory as it lies in a file at `place`: its entries, sorted by tag, and their longer values.
Block laid_out(const ExifContent& content, ExifByteOrder order, std::uint32_t place) {
  std::vector<const ExifEntry*> entries(content.entries, content.entries + content.count);
  std::ranges::sort(entries, {}, &ExifEntry::tag);
  Block bytes(2 + entries.size() * kEntryBytes + 4);
  exif_set_short(bytes.data(), order, static_cast<ExifShort>(entries.size()));
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const ExifEntry& entry = *entries[i];
    const std::size_t at = 2 + i * kEntryBytes;
    exif_set_short(&bytes[at], order, static_cast<ExifShort>(entry.tag));
    exif_set_short(&bytes[at + 2], order, static_cast<ExifShort>(entry.format));
    exif_set_long(&bytes[at + 4], order, static_cast<ExifLong>(entry.components));
    if (entry.size <= 4) {
      std::copy_n(entry.data, entry.size, &bytes[at + 8]);
      continue;
    }
    exif_set_long(&bytes[at + 8], order, place + static_cast<std::uint32_t>(bytes.size()));
    bytes.insert(bytes.end(), entry.data, entry.data + entry.size);
    if (bytes.size() % 2 != 0) bytes.push_back(0);
  }
  return bytes;
}

}  // namespace

int orientation_of(const Block& block) {
  const Data data = parse(block);
  ExifEntry* entry = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
  if (entry == nullptr || entry->format != EXIF_FORMAT_SHORT || entry->components != 1) return 1;
  const int orientation = exif_get_short(entry->data, exif_data_get_byte_order(data.get()));
  return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

Block block_for(const Image& image) {
  const Data data = parse(image.metadata.exif);
  remove_thumbnail(data.get());
  ExifEntry* orientation = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
  if (orientation == nullptr && image.metadata.orientation != 1) {
    orientation = add_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION, EXIF_FORMAT_SHORT, 1);
  }
  if (is_empty(*data)) return {};
  set_number(data.get(), orientation, image.metadata.orientation);
  ExifContent* details = data->ifd[EXIF_IFD_EXIF];
  set_number(data.get(), exif_content_get_entry(details, EXIF_TAG_PIXEL_X_DIMENSION), image.width());
  set_number(data.get(), exif_content_get_entry(details, EXIF_TAG_PIXEL_Y_DIMENSION), image.height());
  return saved(data.get());
}

Block read_from_tiff(const std::filesystem::path& file, std::uint64_t main_directory) {
  TiffBytes tiff(file, "rb");
  if (!tiff.is_classic()) return {};
  const Data data = empty_data();
  exif_data_set_byte_order(data.get(), tiff.order());
  read_directory(tiff, main_directory, data->ifd[EXIF_IFD_0],
                 [](int tag) { return std::ranges::find(kMainTexts, tag) != kMainTexts.end(); });
  for_each_directory(tiff, main_directory, [&](const Directory& directory, std::uint64_t field) {
    read_directory(tiff, tiff.long_at(field), data->ifd[directory.ifd],
                   [](int tag) { return tag != kInteroperability; });
  });
  return is_empty(*data) ? Block() : saved(data.get());
}

void append_to_tiff(const std::filesystem::path& file, const Block& block) {
  TiffBytes tiff(file, "r+b");
  if (!tiff.is_classic()) return;
  const Data data = parse(block);
  exif_data_set_byte_order(data.get(), tiff.order());
  for_each_directory(tiff, tiff.long_at(4), [&](const Directory& directory, std::uint64_t field) {
    const std::uint32_t place = tiff.end();
    tiff.put(place, laid_out(*data->ifd[directory.ifd], tiff.order(), place));
    Block pointer(4);
    exif_set_long(pointer.data(), tiff.order(), place);
    tiff.put(field, pointer);
  });
  tiff.close();
}

std::vector<std::pair<int, std::string>> main_texts(const Block& block) {
  const Data data = parse(block);
  std::vector<std::pair<int, std::string>> texts;
  for (const int tag : kMainTexts) {
    const ExifEntry* entry = exif_content_get_entry(data->ifd[EXIF_IFD_0], static_cast<ExifTag>(tag));
    if (entry == nullptr || entry->format != EXIF_FORMAT_ASCII || entry->size == 0) continue;
    const auto* text = reinterpret_cast<const char*>(entry->data);
    texts.emplace_back(tag, std::string(text, strnlen(text, entry->size)));
  }
  return texts;
}

std::vector<int> directories(const Block& block) {
  const Data data = parse(block);
  std::vector<int> tags;
  for (const Directory& directory : kDirectories) {
    if (data->ifd[directory.ifd]->count > 0) tags.push_back(directory.tag);
  }
  return tags;
}

}  // namespace kyv::host::exif
