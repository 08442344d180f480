#include "npy.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>
#include <string>

#include "error.h"
#include "files.h"
#include "image_io.h"

namespace kyv::host::npy {
namespace {

static_assert(std::endian::native == std::endian::little, "the files are little-endian");

constexpr std::array<char, 8> kSignature{'\x93', 'N', 'U', 'M', 'P', 'Y', '\x01', '\x00'};
constexpr std::size_t kAlignment = 64;
constexpr std::size_t kLongestHeader = 65535;
constexpr int kLongestSide = 1 << 30;

std::string header_for(const ComplexPlanes& planes, const std::string& type) {
  std::string shape = std::to_string(planes.height) + ", " + std::to_string(planes.width);
  if (planes.planes > 1) shape = std::to_string(planes.planes) + ", " + shape;
  std::string text = "{'descr': '" + type + "', 'fortran_order': False, 'shape': (" + shape + "), }";
  const std::size_t prefix = kSignature.size() + 2;
  text.append(kAlignment - (prefix + text.size() + 1) % kAlignment, ' ');
  return text + '\n';
}

template <typename WriteValues>
void write(const std::filesystem::path& file, const std::string& header, WriteValues write_values) {
  try {
    OutputFile output(file);
    std::ofstream out(output.temporary(), std::ios::binary);
    if (!out) throw Error("cannot be opened for writing");
    out.write(kSignature.data(), kSignature.size());
    const auto length = static_cast<std::uint16_t>(header.size());
    out.write(reinterpret_cast<const char*>(&length), sizeof length);
    out.write(header.data(), static_cast<std::streamsize>(header.size()));
    write_values(out);
    out.close();
    if (!out) throw Error("could not be written completely; is the disk full?");
    output.commit();
  } catch (const Error& error) {
    throw Error(display(file) + ": " + error.what());
  }
}

struct Header {
  std::string type;
  std::array<int, 3> shape{};  // planes, height, width
};

// The text between `before` and `after`, or Error.
std::string between(const std::string& text, const std::string& before, const std::string& after) {
  const auto start = text.find(before);
  const auto end = start == std::string::npos ? start : text.find(after, start + before.size());
  if (end == std::string::npos) throw Error("damaged .npy file: its header lacks " + before);
  return text.substr(start + before.size(), end - start - before.size());
}

std::array<int, 3> parse_shape(const std::string& text) {
  std::vector<int> sides;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    int side = 0;
    const auto result = std::from_chars(at, end, side);
    if (result.ec != std::errc() || side < 1 || side > kLongestSide) break;
    sides.push_back(side);
    at = std::find_if(result.ptr, end, [](char c) { return c >= '0' && c <= '9'; });
  }
  if (at != end || sides.size() < 2 || sides.size() > 3) {
    throw Error("a .npy file of shape (" + text + "); (height, width) or (planes, height, width) is needed");
  }
  if (sides.size() == 2) sides.insert(sides.begin(), 1);
  return {sides[0], sides[1], sides[2]};
}

Header read_header(std::istream& in) {
  std::array<char, 8> signature{};
  in.read(signature.data(), signature.size());
  const bool known = in && std::memcmp(signature.data(), kSignature.data(), 6) == 0;
  if (!known) throw Error("not a .npy file");
  const bool version_1 = signature[6] == 1;
  std::uint32_t length = 0;
  in.read(reinterpret_cast<char*>(&length), version_1 ? 2 : 4);
  if (!in || length > kLongestHeader) throw Error("damaged .npy file: its header is too long");
  std::string text(length, '\0');
  in.read(text.data(), length);
  if (!in) throw Error("damaged .npy file: it ends within its header");

  if (between(text, "'fortran_order':", ",").find("False") == std::string::npos) {
    throw Error("a .npy file in Fortran order; save it in C order");
  }
  return {between(text, "'descr': '", "'"), parse_shape(between(text, "'shape': (", ")"))};
}

// Converts file values of type Value, `parts` of them per element, as they are read in blocks.
template <typename Value>
void read_values(std::istream& in, int parts, ComplexPlanes& planes) {
  constexpr std::size_t kBlock = 8192;
  std::vector<Value> block(kBlock * static_cast<std::size_t>(parts));
  for (std::size_t done = 0; done < planes.real.size();) {
    const std::size_t count = std::min(kBlock, planes.real.size() - done);
    const auto bytes = static_cast<std::streamsize>(count * static_cast<std::size_t>(parts) * sizeof(Value));
    if (!in.read(reinterpret_cast<char*>(block.data()), bytes)) {
      throw Error("damaged .npy file: it ends within its values");
    }
    for (std::size_t i = 0; i < count; ++i, ++done) {
      planes.real[done] = static_cast<double>(block[i * static_cast<std::size_t>(parts)]);
      if (parts == 2) planes.imag[done] = static_cast<double>(block[2 * i + 1]);
    }
  }
}

std::size_t element_bytes(const std::string& type) {
  for (const auto& [name, bytes] : std::initializer_list<std::pair<const char*, std::size_t>>{
           {"|u1", 1}, {"<u2", 2}, {"<f4", 4}, {"<f8", 8}, {"<c8", 8}, {"<c16", 16}}) {
    if (type == name) return bytes;
  }
  throw Error("a .npy file of type " + type +
              "; uint8, uint16, float32, float64, complex64 and complex128 are read");
}

ComplexPlanes read_checked(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw Error("cannot be opened for reading");
  const Header header = read_header(in);
  const auto [planes, height, width] = header.shape;
  const auto elements = static_cast<double>(planes) * height * width;
  const double left = static_cast<double>(std::filesystem::file_size(file)) - static_cast<double>(in.tellg());
  if (elements * static_cast<double>(element_bytes(header.type)) > left) {
    throw Error("damaged .npy file: it ends within its values");
  }
  ComplexPlanes values(width, height, planes);
  if (header.type == "|u1") read_values<std::uint8_t>(in, 1, values);
  if (header.type == "<u2") read_values<std::uint16_t>(in, 1, values);
  if (header.type == "<f4") read_values<float>(in, 1, values);
  if (header.type == "<f8") read_values<double>(in, 1, values);
  if (header.type == "<c8") read_values<float>(in, 2, values);
  if (header.type == "<c16") read_values<double>(in, 2, values);
  return values;
}

}  // namespace

void write_complex(const std::filesystem::path& file, const ComplexPlanes& planes) {
  write(file, header_for(planes, "<c16"), [&](std::ostream& out) {
    for (std::size_t i = 0; i < planes.real.size(); ++i) {
      const std::array<double, 2> value{planes.real[i], planes.imag[i]};
      out.write(reinterpret_cast<const char*>(value.data()), sizeof value);
    }
  });
}

void write_real(const std::filesystem::path& file, const ComplexPlanes& planes) {
  write(file, header_for(planes, "<f8"), [&](std::ostream& out) {
    const auto bytes = std::as_bytes(std::span(planes.real));
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  });
}

ComplexPlanes read(const std::filesystem::path& file) {
  try {
    return read_checked(file);
  } catch (const Error& error) {
    throw Error(display(file) + ": " + error.what());
  }
}

}  // namespace kyv::host::npy
