// Random requests through the export, good and bad ones: the same answers and bytes on every processor.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>

#include "trust/export_calls.h"

namespace kyv::trust {
namespace {

constexpr unsigned kModes[] = {KYVMATH_NEAREST, KYVMATH_LINEAR, KYVMATH_CUBIC, KYVMATH_SUPER,
                               KYVMATH_LANCZOS};
constexpr int kRequestsPerMode = 400;

// Raw numbers of a generator that the language defines to the last bit, as no distribution is.
class Dice {
 public:
  int between(int low, int high) {
    return low + static_cast<int>(random_() % static_cast<unsigned>(high - low + 1));
  }
  bool one_in(int n) { return between(1, n) == 1; }
  template <class T, std::size_t kCount>
  T one_of(const std::array<T, kCount>& values) {
    return values[static_cast<std::size_t>(between(0, static_cast<int>(kCount) - 1))];
  }

 private:
  std::mt19937 random_{20240917};
};

struct Side {
  int width = 0;
  int height = 0;
  int step = 0;
  int offset = 0;  // of the first pixel in its memory

  std::size_t bytes() const {
    return static_cast<std::size_t>(offset) + static_cast<std::size_t>(step) * height_();
  }

 private:
  std::size_t height_() const { return static_cast<std::size_t>(height); }
};

struct Request {
  unsigned mode = 0;
  int channels = 0;
  int bits = 0;
  Side src;
  Side dst;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

// Mostly small sizes, some of a few pixels, some longer than a block of taps.
int random_size(Dice& dice) {
  if (dice.one_in(6)) return dice.between(1, 5);
  return dice.one_in(12) ? dice.between(100, 300) : dice.between(1, 48);
}

Side random_side(Dice& dice, int pixel_bytes) {
  Side side;
  side.width = random_size(dice);
  side.height = random_size(dice);
  side.step = side.width * pixel_bytes + dice.between(0, 9);
  side.offset = dice.between(0, 3);
  return side;
}

// One argument as no request may have it.
void spoil(Request& r, Dice& dice) {
  const int pixel_bytes = r.channels * r.bits / 8;
  switch (dice.between(0, 7)) {
    case 0:
      r.mode = dice.one_of(std::array{0u, 3u, 5u, 12u, 32u});
      break;
    case 1:
      r.channels = dice.one_of(std::array{-1, 0, 2, 5});
      break;
    case 2:
      r.bits = dice.one_of(std::array{0, 1, 12, 32});
      break;
    case 3:
      r.src.step = r.src.width * pixel_bytes - 1;
      break;
    case 4:
      r.dst.step = r.dst.width * pixel_bytes - 1;
      break;
    case 5:
      r.x = r.src.width - r.width + 1;
      break;
    case 6:
      r.y = -1;
      break;
    default:
      r.height = 0;
      break;
  }
}

Request random_request(Dice& dice, unsigned mode) {
  Request r;
  r.mode = mode;
  r.channels = dice.one_of(std::array{1, 3, 4});
  r.bits = dice.one_of(std::array{8, 16});
  r.src = random_side(dice, r.channels * r.bits / 8);
  r.dst = random_side(dice, r.channels * r.bits / 8);
  r.width = dice.between(1, r.src.width);
  r.height = dice.between(1, r.src.height);
  r.x = dice.between(0, r.src.width - r.width);
  r.y = dice.between(0, r.src.height - r.height);
  if (mode == KYVMATH_SUPER && !dice.one_in(8)) {  // which refuses to enlarge
    r.dst.width = std::min(r.dst.width, r.width);
    r.dst.height = std::min(r.dst.height, r.height);
  }
  return r;
}

// Noise, or samples of the two extremes, whose sums overshoot.
Bytes random_bytes(Dice& dice, std::size_t count) {
  Bytes bytes(count);
  const bool extremes = dice.one_in(4);
  for (std::uint8_t& byte : bytes) {
    const int value = dice.between(0, 255);
    byte = static_cast<std::uint8_t>(extremes ? value / 128 * 255 : value);
  }
  return bytes;
}

struct Sum {
  std::uint64_t hash = hash_of({});
  int refused = 0;

  bool operator==(const Sum&) const = default;
};

void PrintTo(const Sum& sum, std::ostream* out) {
  *out << "{0x" << std::hex << std::uppercase << sum.hash << std::dec << ", " << sum.refused << "}";
}

void run(Request r, Dice& dice, Sum& sum) {
  const Bytes source = random_bytes(dice, r.src.bytes());
  Bytes destination(r.dst.bytes(), kUntouched);
  if (dice.one_in(6)) spoil(r, dice);
  const KyvMathStatusCode status = KyvMathResizeWithRegion(
      r.mode, r.channels, r.bits, source.data() + r.src.offset, r.src.width, r.src.height, r.src.step, r.x,
      r.y, r.width, r.height, destination.data() + r.dst.offset, r.dst.width, r.dst.height, r.dst.step);
  if (status != KYVMATH_OK) ++sum.refused;
  sum.hash = hash_of({static_cast<std::uint8_t>(status)}, sum.hash);
  sum.hash = hash_of(destination, sum.hash);  // with the bytes around the rows, which keep their value
}

// A change detector, as the one beside it: taken down when the requests agreed with the reference.
TEST(SameResults, TwoThousandRandomRequestsAreAnsweredAlikeEverywhere) {
  const std::array<Sum, 5> expected = {{{0xCC440DFDD1BDC3E3, 71},
                                        {0x922012975F16F8A1, 75},
                                        {0xA210D63BBB4348DA, 66},
                                        {0x62BBA7433ED99D2E, 102},
                                        {0x3D26E985AEE9D43D, 66}}};
  std::array<Sum, 5> sums;
  Dice dice;
  ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
  for (std::size_t mode = 0; mode < sums.size(); ++mode) {
    for (int i = 0; i < kRequestsPerMode; ++i) run(random_request(dice, kModes[mode]), dice, sums[mode]);
  }
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
  EXPECT_EQ(sums, expected);
}

}  // namespace
}  // namespace kyv::trust
