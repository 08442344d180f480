#include "resize/answers.h"

#include <cstring>
#include <map>
#include <tuple>

namespace kyv::test {
namespace {

constexpr std::size_t kMostBytes = std::size_t{64} << 20;  // of all answers that are kept

std::uint16_t sample_of(const Trial& trial, std::int32_t x, std::int32_t y, Random& random) {
  const std::uint32_t limit = trial.bits == 8 ? 255 : 65535;
  const auto sum = static_cast<std::uint32_t>(x + y);
  switch (trial.content) {
    case Content::kConstant:
      return static_cast<std::uint16_t>(trial.seed % (limit + 1));
    case Content::kCheckerboard:
      return static_cast<std::uint16_t>(sum % 2 * limit);
    case Content::kRamp:
      return static_cast<std::uint16_t>(sum * 97 % (limit + 1));
    case Content::kExtremes:
      return static_cast<std::uint16_t>(random() % 2 * limit);
    case Content::kSparse:
      return static_cast<std::uint16_t>(random() % 40 == 0 ? (1u << random() % 16) & limit : 0);
    case Content::kRandom:
      break;
  }
  return static_cast<std::uint16_t>(random() % (limit + 1));
}

std::int32_t row_bytes(const Trial& t) { return t.src_width * t.channels * (t.bits / 8); }

std::vector<std::uint8_t> picture(const Trial& t) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(row_bytes(t)) *
                                  static_cast<std::size_t>(t.src_height));
  Random random(t.seed);
  std::uint8_t* next = bytes.data();
  for (std::int32_t y = 0; y < t.src_height; ++y) {
    for (std::int32_t k = 0; k < t.src_width * t.channels; ++k) {
      const std::uint16_t sample = sample_of(t, k / t.channels, y, random);
      std::memcpy(next, &sample, static_cast<std::size_t>(t.bits / 8));
      next += t.bits / 8;
    }
  }
  return bytes;
}

reference::PrimitiveCall call_of(const Trial& t, const std::vector<std::uint8_t>& source) {
  reference::PrimitiveCall call;
  call.bits = t.bits;
  call.channels = t.channels;
  call.src = source.data();
  call.src_width = t.src_width;
  call.src_height = t.src_height;
  call.src_step = row_bytes(t);
  call.src_roi = t.region;
  call.mode = t.mode;
  return call;
}

auto key_of(const Trial& t) {
  const reference::Rect& r = t.region;
  return std::make_tuple(t.mode, t.bits, t.channels, t.content, t.seed, t.src_width, t.src_height, r.x, r.y,
                         r.width, r.height, t.dst_width, t.dst_height);
}

auto key_of(const DirectCall& c) {
  const reference::Rect& r = c.dst_roi;
  return std::make_tuple(key_of(c.trial), c.x_factor, c.y_factor, c.x_shift, c.y_shift, r.x, r.y, r.width,
                         r.height);
}

template <class Key>
class Answers {
 public:
  template <class Make>
  const Answer& find(const Key& key, Make make) {
    if (const auto found = answers_.find(key); found != answers_.end()) return found->second;
    if (bytes_ > kMostBytes) {
      answers_.clear();
      bytes_ = 0;
    }
    const Answer& answer = answers_.emplace(key, make()).first->second;
    bytes_ += answer.source.size() + answer.result.samples.size();
    return answer;
  }

 private:
  std::map<Key, Answer> answers_;
  std::size_t bytes_ = 0;
};

}  // namespace

const Answer& answer_to(const Trial& t) {
  static Answers<decltype(key_of(t))> answers;
  return answers.find(key_of(t), [&] {
    Answer answer{.source = picture(t), .result = {}};
    answer.result = reference::resize(call_of(t, answer.source), t.dst_width, t.dst_height);
    return answer;
  });
}

const Answer& answer_to(const DirectCall& c) {
  static Answers<decltype(key_of(c))> answers;
  return answers.find(key_of(c), [&] {
    Answer answer{.source = picture(c.trial), .result = {}};
    reference::PrimitiveCall call = call_of(c.trial, answer.source);
    call.dst_roi = c.dst_roi;
    call.x_factor = c.x_factor;
    call.y_factor = c.y_factor;
    call.x_shift = c.x_shift;
    call.y_shift = c.y_shift;
    answer.result = reference::resize_sqr_pixel(call);
    return answer;
  });
}

}  // namespace kyv::test
