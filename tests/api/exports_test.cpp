// The exports' order of checks, their statuses, and what they leave behind.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <new>
#include <vector>

#include "KyvMath.h"
#include "platform/platform.h"
#include "psfotf/dft_service.h"
#include "support/faulty_system.h"
#include "support/floating_point_state.h"

namespace kyv::api {
namespace {

using testing_support::Call;
using testing_support::FaultySystem;

// The arguments of a region resize that succeeds; a test spoils one of them.
struct Arguments {
  unsigned mode = KYVMATH_LANCZOS;
  int channels = 3;
  int bits = 8;
  const void* src = nullptr;
  int src_width = 16;
  int src_height = 12;
  int src_step = 48;
  int x = 2;
  int y = 1;
  int width = 10;
  int height = 8;
  void* dst = nullptr;
  int dst_width = 7;
  int dst_height = 5;
  int dst_step = 21;

  KyvMathStatusCode region() const {
    return KyvMathResizeWithRegion(mode, channels, bits, src, src_width, src_height, src_step, x, y, width,
                                   height, dst, dst_width, dst_height, dst_step);
  }
  KyvMathStatusCode whole() const {
    return KyvMathResize(mode, channels, bits, src, src_width, src_height, src_step, dst, dst_width,
                         dst_height, dst_step);
  }
};

class ExportsTest : public ::testing::Test {
 protected:
  ExportsTest() {
    for (std::size_t i = 0; i < src.size(); ++i) src[i] = static_cast<unsigned char>(i * 37);
    good.src = src.data();
    good.dst = dst.data();
    EXPECT_EQ(KyvMathInitialize(), KYVMATH_OK);
  }

  ~ExportsTest() override {
    EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
    EXPECT_TRUE(system.nothing_leaked());
  }

  FaultySystem system;
  std::array<unsigned char, 48 * 12> src{};
  std::array<unsigned char, 21 * 5> dst{};
  Arguments good;
};

TEST_F(ExportsTest, NothingPrecedesTheCheckForInitialisation) {
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
  Arguments bad;
  bad.width = bad.dst_height = 0;
  EXPECT_EQ(bad.region(), KYVMATH_NOT_INITIALIZED);
  EXPECT_EQ(bad.whole(), KYVMATH_NOT_INITIALIZED);
  EXPECT_EQ(system.calls(Call::kTlsGetValue), 0);
}

TEST_F(ExportsTest, ZerosAreTurnedAwayBeforeTheSlotIsTouched) {
  struct Zero {
    void (*spoil)(Arguments&);
    KyvMathStatusCode region;
    KyvMathStatusCode whole;
  };
  constexpr KyvMathStatusCode kBad = KYVMATH_BAD_ARGUMENT;
  constexpr Zero kZeros[] = {
      {[](auto&) {}, KYVMATH_OK, KYVMATH_OK},
      {[](auto& a) { a.src = nullptr; }, kBad, kBad},
      {[](auto& a) { a.dst = nullptr; }, kBad, kBad},
      {[](auto& a) { a.dst_width = 0; }, kBad, kBad},
      {[](auto& a) { a.dst_height = 0; }, kBad, kBad},
      {[](auto& a) { a.width = 0; }, kBad, KYVMATH_OK},
      {[](auto& a) { a.height = 0; }, kBad, KYVMATH_OK},
      {[](auto& a) { a.src_width = 0; }, KYVMATH_RESIZE_FAILED, kBad},  // looked at only later by region
      {[](auto& a) { a.src_height = 0; }, KYVMATH_RESIZE_FAILED, kBad},
  };
  for (const Zero& zero : kZeros) {
    Arguments arguments = good;
    zero.spoil(arguments);
    for (const bool whole : {false, true}) {
      const KyvMathStatusCode status = whole ? zero.whole : zero.region;
      const int lookups = system.calls(Call::kTlsGetValue);
      EXPECT_EQ(whole ? arguments.whole() : arguments.region(), status) << &zero - kZeros;
      EXPECT_EQ(system.calls(Call::kTlsGetValue) == lookups, status == kBad) << &zero - kZeros;
    }
  }
}

TEST_F(ExportsTest, WhatPassesTheFirstCheckFailsWithTwoAndReleasesTheContext) {
  const std::vector<unsigned> modes = {0, 3, 5, 6, 7, 9, 17, 0x80000001u, 0xFFFFFFFFu};
  for (const unsigned mode : modes) {
    Arguments bad = good;
    bad.mode = mode;
    const int clears = system.calls(Call::kTlsSetValue);
    EXPECT_EQ(bad.region(), KYVMATH_RESIZE_FAILED) << mode;
    EXPECT_EQ(bad.whole(), KYVMATH_RESIZE_FAILED) << mode;
    EXPECT_EQ(system.calls(Call::kTlsSetValue), clears + 2) << "the slot is cleared after every such call";
  }
  for (int Arguments::*size :
       {&Arguments::src_width, &Arguments::src_height, &Arguments::dst_width, &Arguments::dst_height}) {
    Arguments bad = good;
    bad.*size = -(good.*size);
    EXPECT_EQ(bad.whole(), KYVMATH_RESIZE_FAILED);
    bad.*size = INT_MIN;
    EXPECT_EQ(bad.region(), KYVMATH_RESIZE_FAILED);
  }
}

struct Conversion {
  KyvMathConvertFn function;
  const char* name;
};
const Conversion kConversions[] = {{KyvMathConvertOtfFromPsf, "OtfFromPsf"},
                                   {KyvMathConvertPsfFromOtf, "PsfFromOtf"},
                                   {KyvMathConvertOtfFromPsf_D, "OtfFromPsf_D"},
                                   {KyvMathConvertPsfFromOtf_D, "PsfFromOtf_D"}};

TEST_F(ExportsTest, ConversionsNeedNeitherInitialisationNorTheSlot) {
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
  for (const Conversion& conversion : kConversions) {
    std::array<double, 4> real{1, 0, 0, 0};
    std::array<double, 4> imag{};
    EXPECT_EQ(conversion.function(real.data(), imag.data(), real.data(), imag.data(), 2, 2, 1), KYVMATH_OK);
    const bool backward = std::strstr(conversion.name, "PsfFromOtf") != nullptr;
    for (const double value : real) EXPECT_EQ(value, backward ? 0.25 : 1.0) << conversion.name;
    for (const double value : imag) EXPECT_EQ(value, 0.0) << conversion.name;

    for (const std::array<int, 3>& sizes :
         {std::array{2, 2, 0}, std::array{2, 2, -1}, std::array{0, 2, 1}, std::array{2, INT_MIN, 1}}) {
      psfotf::mkl_set_num_threads(3);
      EXPECT_EQ(conversion.function(nullptr, nullptr, nullptr, nullptr, sizes[0], sizes[1], sizes[2]),
                KYVMATH_OK);
      EXPECT_EQ(psfotf::mkl_get_max_threads(), 1) << "set before anything else, for an empty stack as well";
    }

    const std::array<double, 4> before = real;
    system.fail(Call::kAllocate, 0, 1);
    EXPECT_EQ(conversion.function(real.data(), imag.data(), real.data(), imag.data(), 2, 2, 1),
              KYVMATH_FAILED);
    EXPECT_EQ(real, before);
  }
  EXPECT_EQ(system.calls(Call::kTlsGetValue) + system.calls(Call::kTlsSetValue), 0);
}

// No service of the system throws; this one stands for whatever may one day.
TEST_F(ExportsTest, NothingThatIsThrownBelowAnExportGetsThroughIt) {
  const auto throwing_malloc = [](std::size_t) -> void* { throw std::bad_alloc(); };
  const auto healthy_malloc = platform::services.malloc;
  const testing_support::FloatingPointState before = testing_support::read_floating_point();
  const int idle = system.live_allocations();
  std::array<double, 30> values{};
  platform::services.malloc = throwing_malloc;
  EXPECT_EQ(good.region(), KYVMATH_RESIZE_FAILED);
  EXPECT_EQ(good.whole(), KYVMATH_RESIZE_FAILED);
  for (const Conversion& conversion : kConversions) {
    EXPECT_EQ(conversion.function(values.data(), values.data(), values.data(), values.data(), 5, 6, 1),
              KYVMATH_FAILED);
  }
  EXPECT_EQ(system.live_allocations(), idle);
  EXPECT_TRUE(testing_support::read_floating_point() == before);

  static const auto healthy_free = platform::services.TlsFree;
  platform::services.TlsFree = [](std::uint32_t index) -> bool {
    healthy_free(index);
    throw 1;
  };
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
  platform::services.TlsFree = healthy_free;
  EXPECT_EQ(system.live_allocations(), 0);
  EXPECT_EQ(KyvMathInitialize(), KYVMATH_FAILED);
  EXPECT_EQ(good.region(), KYVMATH_NOT_INITIALIZED);
  platform::services.malloc = healthy_malloc;
  EXPECT_EQ(KyvMathInitialize(), KYVMATH_OK);
  EXPECT_EQ(good.region(), KYVMATH_OK);
}

}  // namespace
}  // namespace kyv::api
