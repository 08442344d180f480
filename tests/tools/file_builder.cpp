#include "file_builder.h"

#include <algorithm>
#include <array>

namespace kyv::host::test {
namespace {

std::string big_endian(std::uint32_t value) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(value >> shift);
  return bytes;
}

std::string little_endian(std::uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
  return text;
}

std::uint32_t crc32(const std::string& bytes) {
  std::uint32_t crc = 0xffffffffu;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

std::uint32_t adler32(const std::string& bytes) {
  std::uint32_t a = 1;
  std::uint32_t b = 0;
  for (const char byte : bytes) {
    a = (a + static_cast<unsigned char>(byte)) % 65521;
    b = (b + a) % 65521;
  }
  return b << 16 | a;
}

// A zlib stream of one stored block.
std::string stored(const std::string& bytes) {
  const auto length = static_cast<std::uint32_t>(bytes.size());
  return std::string("\x78\x01\x01", 3) + little_endian(length, 2) + little_endian(length ^ 0xffffu, 2) +
         bytes + big_endian(adler32(bytes));
}

std::string chunk(const std::string& type, const std::string& data) {
  return big_endian(static_cast<std::uint32_t>(data.size())) + type + data + big_endian(crc32(type + data));
}

std::string filtered(const std::string& rows, std::size_t row_bytes) {
  std::string result;
  for (std::size_t at = 0; at < rows.size(); at += row_bytes) result += '\0' + rows.substr(at, row_bytes);
  return result;
}

std::string adam7(const PngSpec& spec, std::size_t pixel_bytes) {
  struct Pass {
    std::uint32_t x, y, dx, dy;
  };
  static constexpr std::array<Pass, 7> kPasses{
      {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}}};
  std::string result;
  for (const Pass& pass : kPasses) {
    for (std::uint32_t y = pass.y; y < spec.height && pass.x < spec.width; y += pass.dy) {
      result += '\0';
      for (std::uint32_t x = pass.x; x < spec.width; x += pass.dx) {
        result += spec.rows.substr((std::size_t{y} * spec.width + x) * pixel_bytes, pixel_bytes);
      }
    }
  }
  return result;
}

}  // namespace

std::string make_png(const PngSpec& spec) {
  static constexpr std::array<std::size_t, 7> kSamples{1, 0, 3, 1, 2, 0, 4};
  const std::size_t pixel_bits =
      kSamples[static_cast<std::size_t>(spec.colour_type)] * static_cast<std::size_t>(spec.depth);
  std::string header = big_endian(spec.width) + big_endian(spec.height);
  header += static_cast<char>(spec.depth);
  header += static_cast<char>(spec.colour_type);
  header += std::string(2, '\0');
  header += static_cast<char>(spec.interlaced ? 1 : 0);
  const std::size_t row_bytes = (spec.width * pixel_bits + 7) / 8;
  std::string file = "\x89PNG\r\n\x1a\n" + chunk("IHDR", header);
  if (!spec.palette.empty()) file += chunk("PLTE", spec.palette);
  if (!spec.transparency.empty()) file += chunk("tRNS", spec.transparency);
  const std::string rows = spec.interlaced ? adam7(spec, pixel_bits / 8) : filtered(spec.rows, row_bytes);
  return file + chunk("IDAT", stored(rows)) + chunk("IEND", "");
}

std::string make_tiff(const TiffSpec& spec) {
  constexpr int kShort = 3;
  constexpr int kLong = 4;
  constexpr std::uint32_t kHeaderBytes = 8;
  struct Tag {
    std::uint32_t id;
    int type;
    std::vector<std::uint32_t> values;
  };
  const std::uint32_t planes = spec.planar == 2 ? spec.samples : 1;
  std::uint32_t blocks = planes;
  if (spec.tile > 0)
    blocks *= ((spec.width + spec.tile - 1) / spec.tile) * ((spec.height + spec.tile - 1) / spec.tile);
  const auto block_bytes = static_cast<std::uint32_t>(spec.data.size()) / blocks;
  std::vector<std::uint32_t> offsets;
  for (std::uint32_t i = 0; i < blocks; ++i) offsets.push_back(kHeaderBytes + i * block_bytes);
  const std::vector<std::uint32_t> counts(blocks, block_bytes);

  std::vector<Tag> tags{{256, kLong, {spec.width}},
                        {257, kLong, {spec.height}},
                        {258, kShort, std::vector<std::uint32_t>(spec.samples, spec.bits)},
                        {259, kShort, {1}},
                        {262, kShort, {spec.photometric}},
                        {277, kShort, {spec.samples}},
                        {284, kShort, {spec.planar}},
                        {339, kShort, std::vector<std::uint32_t>(spec.samples, spec.sample_format)}};
  if (spec.extra_sample > 0) tags.push_back({338, kShort, {spec.extra_sample}});
  if (!spec.palette.empty()) tags.push_back({320, kShort, {spec.palette.begin(), spec.palette.end()}});
  if (spec.tile > 0) {
    tags.insert(
        tags.end(),
        {{322, kLong, {spec.tile}}, {323, kLong, {spec.tile}}, {324, kLong, offsets}, {325, kLong, counts}});
  } else {
    tags.insert(tags.end(), {{273, kLong, offsets}, {278, kLong, {spec.height}}, {279, kLong, counts}});
  }
  std::ranges::sort(tags, {}, &Tag::id);

  const std::uint32_t directory =
      kHeaderBytes + static_cast<std::uint32_t>(spec.data.size() + spec.data.size() % 2);
  std::uint32_t beyond = directory + 2 + 12 * static_cast<std::uint32_t>(tags.size()) + 4;
  std::string entries = little_endian(static_cast<std::uint32_t>(tags.size()), 2);
  std::string values;
  for (const Tag& tag : tags) {
    const int bytes = tag.type == kShort ? 2 : 4;
    std::string text;
    for (const std::uint32_t value : tag.values) text += little_endian(value, bytes);
    entries += little_endian(tag.id, 2) + little_endian(static_cast<std::uint32_t>(tag.type), 2) +
               little_endian(static_cast<std::uint32_t>(tag.values.size()), 4);
    if (text.size() <= 4) {
      entries += text + std::string(4 - text.size(), '\0');
    } else {
      entries += little_endian(beyond, 4);
      beyond += static_cast<std::uint32_t>(text.size());
      values += text;
    }
  }
  return std::string("II*\0", 4) + little_endian(directory, 4) + spec.data +
         std::string(spec.data.size() % 2, '\0') + entries + little_endian(0, 4) + values;
}

}  // namespace kyv::host::test
