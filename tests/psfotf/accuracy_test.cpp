// Conversions against transforms by definition, for every kernel set of this processor.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "psfotf/reference.h"

namespace kyv::psfotf::test {
namespace {

using Sizes = std::vector<std::pair<std::int32_t, std::int32_t>>;

// The worst error of a sweep, as a share of its bound, for the record.
class Accuracy : public testing::TestWithParam<const runtime::KernelSet*> {
 protected:
  void check(const Sizes& sizes) {
    for (const auto& [width, height] : sizes) {
      const auto seed = static_cast<std::uint32_t>(width * 1000 + height);
      for (const Precision precision : {Precision::kSingle, Precision::kDouble}) {
        const Stack psf = rounded(random_stack(width, height, 1, seed), precision);
        check(psf, reference_plane(psf, 0), precision);
      }
    }
    record();
  }

  // The reference of a long line takes far longer than what is tested: one for both precisions.
  void check_long_lines(const Sizes& sizes) {
    for (const auto& [width, height] : sizes) {
      const Stack psf = rounded(random_stack(width, height, 1), Precision::kSingle);
      const Spectrum expected = reference_plane(psf, 0);
      for (const Precision precision : {Precision::kSingle, Precision::kDouble})
        check(psf, expected, precision);
    }
    record();
  }

 private:
  void check(const Stack& psf, const Spectrum& expected, Precision precision) {
    const double bound = error_bound(psf.width, psf.height, precision);
    const Stack otf = converted(psf, Direction::kForward, precision, *GetParam());
    const double forward = relative_error(otf, 0, expected);
    EXPECT_LE(forward, bound) << describe(psf, precision, *GetParam());

    const Stack back = without_scale_error(converted(otf, Direction::kBackward, precision, *GetParam()));
    const double round_trip = relative_error(back, 0, values_of(psf, 0));
    EXPECT_LE(round_trip, bound * std::sqrt(2.0)) << "and back " << describe(psf, precision, *GetParam());

    worst_forward_ = std::max(worst_forward_, forward / bound);
    worst_round_trip_ = std::max(worst_round_trip_, round_trip / (bound * std::sqrt(2.0)));
  }

  void record() {
    RecordProperty("worst_share_of_bound_forward", std::to_string(worst_forward_));
    RecordProperty("worst_share_of_bound_round_trip", std::to_string(worst_round_trip_));
  }

  double worst_forward_ = 0;
  double worst_round_trip_ = 0;
};

TEST_P(Accuracy, AllPairsOfSmallLengths) {
  Sizes sizes;
  for (std::int32_t w = 1; w <= 20; ++w) {
    for (std::int32_t h = 1; h <= 20; ++h) sizes.emplace_back(w, h);
  }
  check(sizes);
}

TEST_P(Accuracy, EveryLengthTo260AgainstSmallPartners) {
  Sizes sizes;
  for (std::int32_t n = 21; n <= 260; ++n) {
    sizes.emplace_back(n, n % 5 + 1);
    sizes.emplace_back(n % 7 + 1, n);
  }
  check(sizes);
}

TEST_P(Accuracy, LargerLengthsOfEveryKind) {
  // Primes for which p - 1 is smooth, has a large prime, is twice a prime; products with one large prime, two
  // of them, one twice; powers; lengths of one row or one column; few lines that have tables of their own;
  // lines that wait for the others or lie by powers.
  check_long_lines({{257, 18},  {263, 17}, {347, 3},  {3, 503},  {509, 2},  {2, 521},  {661, 5},
                    {393, 16},  {769, 1},  {1, 786},  {881, 16}, {16, 907}, {997, 4},  {1009, 9},
                    {9, 1013},  {1019, 8}, {1021, 3}, {3, 1021}, {9, 1262}, {16, 407}, {2501, 4},
                    {17, 1681}, {729, 33}, {33, 625}, {343, 17}, {512, 48}, {500, 30}, {30, 480},
                    {1000, 5},  {5, 1024}, {1, 4096}, {1, 992},  {7776, 1}, {2063, 2}, {2, 1823},
                    {1823, 3},  {5, 1543}, {1, 2986}, {1187, 9}, {2, 1896}, {7, 1478}, {1, 3853},
                    {1163, 9},  {9, 1031}, {5, 1621}, {9, 3662}, {5, 1929}, {3203, 5}, {3, 1811}});
}

TEST_P(Accuracy, SquaresAndTheirLikes) {
  check({{32, 32}, {48, 40}, {64, 64}, {100, 100}, {100, 64}, {121, 169}, {128, 128}, {243, 27}, {256, 96}});
}

INSTANTIATE_TEST_SUITE_P(KernelSets, Accuracy, testing::ValuesIn(runnable_kernel_sets()),
                         [](const auto& set) { return std::string(set.param->name); });

}  // namespace
}  // namespace kyv::psfotf::test
