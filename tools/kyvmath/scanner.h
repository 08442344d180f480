#pragma once

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace kyv::host {

// Takes numbers and separators of what the user typed apart, from left to right.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {}

  bool take(char c) {
    if (at_ == end_ || *at_ != c) return false;
    ++at_;
    return true;
  }

  // Nothing where no finite number begins.
  std::optional<double> number() {
    double value = 0;
    const auto [next, failure] = std::from_chars(at_, end_, value);
    if (failure != std::errc() || !std::isfinite(value)) return std::nullopt;
    at_ = next;
    return value;
  }

  bool at_end() const { return at_ == end_; }

 private:
  const char* at_;
  const char* end_;
};

}  // namespace kyv::host
