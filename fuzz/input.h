// Reads the bytes of an input as the arguments of a call: mostly ordinary values, often those at the limits.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace kyv::fuzz {

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  // Zeros when the input has ended.
  std::uint8_t byte() { return read<std::uint8_t>(); }

  // From 0 to limit - 1; limit at most 65536.
  std::int32_t below(std::int32_t limit) { return read<std::uint16_t>() % limit; }

  // An ordinary size, or any value: the limits, those whose products wrap, or four bytes.
  std::int32_t integer() {
    constexpr std::int32_t limits[] = {0,
                                       1,
                                       -1,
                                       2,
                                       -2,
                                       255,
                                       65535,
                                       65536,
                                       46341,       // squared: more than 31 bits
                                       536870912,   // * 4, * 8
                                       715827883,   // * 3, * 6
                                       1073741824,  // * 2, * 4
                                       1431655766,  // * 3 wraps to 2
                                       std::numeric_limits<std::int32_t>::max(),
                                       std::numeric_limits<std::int32_t>::max() - 1,
                                       std::numeric_limits<std::int32_t>::min(),
                                       std::numeric_limits<std::int32_t>::min() + 1};
    const std::uint8_t kind = byte();
    if (kind < 192) return kind;
    if (kind < 224) return limits[kind % std::size(limits)];
    return read<std::int32_t>();
  }

  // From 1 to `limit`: mostly small, sometimes anything.
  std::int32_t size(std::int32_t limit) {
    const std::uint8_t kind = byte();
    const std::int32_t most = kind < 100 ? 24 : kind < 200 ? 200 : kind < 245 ? 1500 : limit;
    return 1 + below(most < limit ? most : limit);
  }

  // An ordinary factor or shift, or any value.
  double real() {
    constexpr double limits[] = {0.0,
                                 -0.0,
                                 1.0,
                                 0.5,
                                 -1.0,
                                 2.5,
                                 1.0000001,
                                 1e-300,
                                 1e300,
                                 -1e300,
                                 2147483647.0,
                                 -2147483648.0,
                                 std::numeric_limits<double>::denorm_min(),
                                 std::numeric_limits<double>::min(),
                                 std::numeric_limits<double>::max(),
                                 std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN()};
    const std::uint8_t kind = byte();
    if (kind < 128) return (byte() - 64) / 16.0;
    if (kind < 192) return read<std::uint16_t>() / 997.0;
    if (kind < 224) return limits[kind % std::size(limits)];
    return read<double>();
  }

  // What is left, again and again; something else when there is nothing.
  std::uint8_t content(std::size_t k) const {
    return size_ == 0 ? static_cast<std::uint8_t>(k * 37) : data_[k % size_];
  }
  void fill(std::uint8_t* p, std::size_t bytes) const {
    const std::size_t period = size_ == 0 ? 256 : size_;
    for (std::size_t k = 0; k < bytes && k < period; ++k) p[k] = content(k);
    for (std::size_t k = period; k < bytes; k += period) std::memcpy(p + k, p, std::min(period, bytes - k));
  }

 private:
  template <class T>
  T read() {
    T value{};
    const std::size_t bytes = size_ < sizeof value ? size_ : sizeof value;
    std::memcpy(&value, data_, bytes);
    data_ += bytes;
    size_ -= bytes;
    return value;
  }

  const std::uint8_t* data_;
  std::size_t size_;
};

}  // namespace kyv::fuzz
