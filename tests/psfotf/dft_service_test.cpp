// The transform service through its own operations.
#include "psfotf/dft_service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "psfotf/reference.h"
#include "support/faulty_system.h"

namespace kyv::psfotf::test {
namespace {

using testing_support::Call;
using testing_support::FaultySystem;

template <class T>
class DftService : public testing::Test {
 protected:
  static constexpr bool kSingle = sizeof(T) == sizeof(float);
  static constexpr Precision kPrecision = kSingle ? Precision::kSingle : Precision::kDouble;

  static std::int32_t create(DFTI_DESCRIPTOR_HANDLE* handle, std::int32_t n1, std::int32_t n2) {
    const std::int32_t lengths[2] = {n1, n2};
    return create(handle, DFTI_COMPLEX, 2, lengths);
  }
  static std::int32_t create(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE domain, std::int32_t dimension,
                             const std::int32_t* lengths) {
    const Kernels& kernels = *runtime::active_kernel_set().psfotf;
    return kSingle ? DftiCreateDescriptor_s_md(handle, domain, dimension, lengths, kernels)
                   : DftiCreateDescriptor_d_md(handle, domain, dimension, lengths, kernels);
  }
  static std::vector<T> pairs_of(const Stack& stack) {
    std::vector<T> pairs;
    for (std::size_t i = 0; i < stack.plane_size(); ++i) {
      pairs.push_back(static_cast<T>(stack.re[i]));
      pairs.push_back(static_cast<T>(stack.im[i]));
    }
    return pairs;
  }
};

using Precisions = testing::Types<float, double>;
TYPED_TEST_SUITE(DftService, Precisions);

TYPED_TEST(DftService, TransformsInterleavedPlanesAsTheConversionsDo) {
  for (const auto& [n1, n2] : {std::pair{1, 1}, {6, 10}, {64, 32}, {103, 5}}) {
    const Stack stack = random_stack(n1, n2, 1);
    for (const Direction direction : {Direction::kForward, Direction::kBackward}) {
      DFTI_DESCRIPTOR_HANDLE handle = nullptr;
      ASSERT_EQ(this->create(&handle, n1, n2), DFTI_NO_ERROR);
      const float scale = 1.0f / static_cast<float>(n1 * n2);
      ASSERT_EQ(DftiSetValue(handle, DFTI_BACKWARD_SCALE, static_cast<double>(scale)), DFTI_NO_ERROR);
      ASSERT_EQ(DftiCommitDescriptor(handle), DFTI_NO_ERROR);
      std::vector<TypeParam> pairs = this->pairs_of(stack);
      const std::int32_t status = direction == Direction::kForward
                                      ? DftiComputeForward(handle, pairs.data())
                                      : DftiComputeBackward(handle, pairs.data());
      EXPECT_EQ(status, DFTI_NO_ERROR);
      EXPECT_EQ(DftiFreeDescriptor(&handle), DFTI_NO_ERROR);
      EXPECT_EQ(handle, nullptr);
      const Stack expected = converted(stack, direction, this->kPrecision, runtime::active_kernel_set());
      EXPECT_EQ(pairs, this->pairs_of(expected)) << n1 << " x " << n2;
    }
  }
}

TYPED_TEST(DftService, ScalesByWhatIsSetAndElseNotAtAll) {
  const std::int32_t lengths[2] = {4, 3};
  const DFTI_CONFIG_VALUE precision = this->kSingle ? DFTI_SINGLE : DFTI_DOUBLE;
  for (const double scale : {1.0, 0.25}) {
    DFTI_DESCRIPTOR_HANDLE handle = nullptr;
    ASSERT_EQ(DftiCreateDescriptor(&handle, precision, DFTI_COMPLEX, 2, lengths,
                                   *runtime::active_kernel_set().psfotf),
              DFTI_NO_ERROR);
    if (scale != 1.0) {
      ASSERT_EQ(DftiSetValue(handle, DFTI_FORWARD_SCALE, scale), DFTI_NO_ERROR);
    }
    ASSERT_EQ(DftiCommitDescriptor(handle), DFTI_NO_ERROR);
    std::vector<TypeParam> pairs(24);
    pairs[0] = 2;
    EXPECT_EQ(DftiComputeForward(handle, pairs.data()), DFTI_NO_ERROR);
    for (std::size_t i = 0; i < pairs.size(); ++i) EXPECT_EQ(pairs[i], i % 2 == 0 ? 2 * scale : 0);
    std::fill(pairs.begin() + 1, pairs.end(), TypeParam{0});
    EXPECT_EQ(DftiComputeBackward(handle, pairs.data()), DFTI_NO_ERROR);
    for (std::size_t i = 0; i < pairs.size(); ++i) EXPECT_EQ(pairs[i], i % 2 == 0 ? 2 * scale : 0);
    DftiFreeDescriptor(&handle);
  }
}

TYPED_TEST(DftService, RefusesWhatItIsNotBuiltFor) {
  constexpr std::int32_t huge = std::numeric_limits<std::int32_t>::max();
  const std::int32_t good[2] = {4, 4};
  auto* const stale = reinterpret_cast<DFTI_DESCRIPTOR_HANDLE>(std::uintptr_t{64});
  DFTI_DESCRIPTOR_HANDLE handle = stale;
  EXPECT_NE(this->create(&handle, static_cast<DFTI_CONFIG_VALUE>(33), 2, good), DFTI_NO_ERROR);
  EXPECT_EQ(handle, nullptr);
  EXPECT_NE(DftiCreateDescriptor(&handle, DFTI_COMPLEX, DFTI_COMPLEX, 2, good,
                                 *runtime::active_kernel_set().psfotf),
            DFTI_NO_ERROR);
  EXPECT_NE(this->create(&handle, DFTI_COMPLEX, 1, good), DFTI_NO_ERROR);
  EXPECT_NE(this->create(&handle, DFTI_COMPLEX, 2, nullptr), DFTI_NO_ERROR);
  EXPECT_NE(this->create(nullptr, DFTI_COMPLEX, 2, good), DFTI_NO_ERROR);
  for (const auto& [n1, n2] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {46341, 46341}, {huge, huge}}) {
    handle = stale;
    EXPECT_EQ(this->create(&handle, n1, n2), DFTI_INVALID_CONFIGURATION) << n1 << " x " << n2;
    EXPECT_EQ(handle, nullptr);
  }
}

TYPED_TEST(DftService, BadDescriptorsAreNamedAndBuffersLeftAlone) {
  std::vector<TypeParam> pairs(32, 7);
  const std::vector<TypeParam> before = pairs;
  const auto refuses = [&](DFTI_DESCRIPTOR_HANDLE handle) {
    EXPECT_EQ(DftiComputeForward(handle, pairs.data()), DFTI_BAD_DESCRIPTOR);
    EXPECT_EQ(DftiComputeBackward(handle, pairs.data()), DFTI_BAD_DESCRIPTOR);
    EXPECT_EQ(pairs, before);
  };
  DFTI_DESCRIPTOR_HANDLE handle = nullptr;
  refuses(handle);
  EXPECT_EQ(DftiSetValue(handle, DFTI_BACKWARD_SCALE, 0.5), DFTI_BAD_DESCRIPTOR);
  EXPECT_EQ(DftiCommitDescriptor(handle), DFTI_BAD_DESCRIPTOR);
  EXPECT_EQ(DftiFreeDescriptor(&handle), DFTI_BAD_DESCRIPTOR);
  EXPECT_EQ(DftiFreeDescriptor(nullptr), DFTI_BAD_DESCRIPTOR);

  ASSERT_EQ(this->create(&handle, 4, 4), DFTI_NO_ERROR);
  refuses(handle);  // not committed
  ASSERT_EQ(DftiCommitDescriptor(handle), DFTI_NO_ERROR);
  EXPECT_EQ(DftiSetValue(handle, static_cast<DFTI_CONFIG_PARAM>(6), 0.5), DFTI_INVALID_CONFIGURATION);
  EXPECT_EQ(DftiSetValue(handle, DFTI_PLACEMENT, 44), DFTI_INVALID_CONFIGURATION);
  EXPECT_EQ(DftiSetValue(handle, DFTI_PLACEMENT, DFTI_INPLACE), DFTI_NO_ERROR);
  EXPECT_EQ(DftiComputeForward(handle, nullptr), DFTI_BAD_DESCRIPTOR);
  ASSERT_EQ(DftiSetValue(handle, DFTI_BACKWARD_SCALE, 0.5), DFTI_NO_ERROR);
  refuses(handle);  // the new value is not committed
  EXPECT_EQ(DftiFreeDescriptor(&handle), DFTI_NO_ERROR);

  alignas(64) static unsigned char garbage[8192] = {};
  refuses(reinterpret_cast<DFTI_DESCRIPTOR_HANDLE>(garbage));
}

TYPED_TEST(DftService, EveryAllocationMayFail) {
  for (const auto& [n1, n2] : {std::pair{4, 4}, {107, 300}}) {
    FaultySystem system;
    std::vector<TypeParam> pairs(static_cast<std::size_t>(2 * n1 * n2), 1);
    const std::vector<TypeParam> before = pairs;
    bool done = false;
    for (int failing = 0; !done; ++failing) {
      system.fail_nothing();
      system.fail(Call::kAllocate, failing, 1);
      DFTI_DESCRIPTOR_HANDLE handle = nullptr;
      const std::int32_t created = this->create(&handle, n1, n2);
      const std::int32_t committed = DftiCommitDescriptor(handle);
      const std::int32_t computed = DftiComputeForward(handle, pairs.data());
      DftiFreeDescriptor(&handle);
      EXPECT_TRUE(system.nothing_leaked());
      done = computed == DFTI_NO_ERROR;
      if (done) {
        EXPECT_GE(failing, 2);
      } else {
        EXPECT_EQ(created, failing == 0 ? DFTI_MEMORY_ERROR : DFTI_NO_ERROR);
        EXPECT_EQ(committed, failing == 0 ? DFTI_BAD_DESCRIPTOR : DFTI_MEMORY_ERROR);
        EXPECT_EQ(pairs, before);
      }
    }
  }
}

TEST(ThreadCount, KeepsPositiveValuesOnly) {
  mkl_set_num_threads(3);
  EXPECT_EQ(mkl_get_max_threads(), 3);
  mkl_set_num_threads(0);
  mkl_set_num_threads(-2);
  EXPECT_EQ(mkl_get_max_threads(), 3);
  mkl_set_num_threads(1);
  EXPECT_EQ(mkl_get_max_threads(), 1);
}

}  // namespace
}  // namespace kyv::psfotf::test
