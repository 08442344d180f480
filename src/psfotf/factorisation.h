// How a length is cut into stages, or turned into a convolution, before any table is made.
#pragma once

#include <cstdint>

#include "psfotf/plan.h"

namespace kyv::psfotf {

// A prime without code of its own is a convolution, and there are at most five of them in a length.
inline constexpr std::int32_t kLeastConvolution = 37;
inline constexpr int kMaxConvolvedStages = 5;
static_assert(std::int64_t{kLeastConvolution} * kLeastConvolution * kLeastConvolution * kLeastConvolution *
                  kLeastConvolution * kLeastConvolution >
              INT32_MAX);

// A transform of `length` elements as a convolution of `inner_length`.
struct ConvolutionShape {
  LineMethod method;
  std::int32_t length;
  std::int32_t inner_length;
  std::int32_t work_elements;  // that it takes beside the line
};

struct LineShape {
  std::int32_t length = 1;
  LineMethod method = LineMethod::kMixedRadix;
  std::uint8_t stages = 0;
  std::int32_t radices[kMaxStages] = {};
  std::uint8_t convolved_stages = 0;  // the last stages, whose butterflies are convolutions
  ConvolutionShape convolutions[kMaxConvolvedStages] = {};
  std::int32_t inner_length = 0;   // of the convolution methods
  std::int32_t work_elements = 0;  // that convolutions take beside the line; 0 where there are none
  double cost = 0;                 // of one element, about in nanoseconds times a constant

  int direct_stages() const noexcept { return stages - convolved_stages; }
  // Of the convolution methods: the line itself.
  ConvolutionShape convolution() const noexcept { return {method, length, inner_length, work_elements}; }
};

// The cheapest way for any length of at least 1.
LineShape choose_line(std::int32_t length, RadixSet radices) noexcept;

// Stages for a length, large primes first, powers of two last. False when a prime factor is too large to be
// summed directly.
bool factorize(LineShape& shape, std::int32_t length, RadixSet radices) noexcept;

// Bluestein's convolution of a line that lies within lanes: the cheapest, or the one that takes the least
// memory, among lengths of small primes or of any up to 13. Its inner length and work are elements of as many
// values.
enum class WithinFor : std::uint8_t { kLeastTime, kLessMemory, kLeastMemory };
LineShape choose_line_within(std::int32_t length, std::int32_t lanes, RadixSet radices,
                             WithinFor purpose) noexcept;

// Values that it takes beside its chirp, about.
double values_within(const LineShape& shape, std::int32_t lanes, RadixSet radices) noexcept;

// Its inner stages, of which the first one cuts the elements into parts of a multiple of the lanes; false
// where none does.
bool factorize_within(LineShape& shape, std::int32_t length, std::int32_t lanes, RadixSet radices) noexcept;

// Whether there is a way at all: not for lengths whose convolution would pass 31 bits.
bool is_possible(const LineShape& shape) noexcept;

// The unused elements behind each part that the first stage makes.
enum class PartGap : std::int32_t { kNone = 0, kOneElement = 1 };

PartGap gap_of(const LineShape& shape) noexcept;
std::int32_t part_length(const LineShape& shape) noexcept;
std::int32_t part_pitch(const LineShape& shape, PartGap gap) noexcept;

// Elements that a line takes, the gaps among them.
std::int32_t elements_with_gaps(const LineShape& shape, PartGap gap) noexcept;

}  // namespace kyv::psfotf
