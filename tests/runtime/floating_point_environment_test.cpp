#include "runtime/floating_point_environment.h"

#include <gtest/gtest.h>

#include "support/floating_point_state.h"

namespace kyv::runtime {
namespace {

using testing_support::FloatingPointState;
using testing_support::hostile_floating_point;
using testing_support::read_floating_point;
using testing_support::write_floating_point;

TEST(FloatingPointScope, WorksInTheDefaultEnvironmentAndGivesTheHostsBack) {
  const FloatingPointState original = read_floating_point();
  FloatingPointState inside;
  volatile double overflow = 0;
  write_floating_point(hostile_floating_point());
  const FloatingPointState before = read_floating_point();
  {
    const FloatingPointScope scope;
    inside = read_floating_point();
    overflow = 1e308;
    overflow = overflow * overflow;  // would trap outside
    volatile long double third = 1;
    third = third / 3;  // leaves the inexact flag, on x86 that of the x87
  }
  const FloatingPointState after = read_floating_point();
  write_floating_point(original);

  EXPECT_TRUE(is_default(inside));
  EXPECT_FALSE(is_default(before));
  EXPECT_TRUE(after == before);
}

#ifndef __aarch64__
// A host that has no x87 exception pending: without any flag, or with that of an inexact result, which is
// masked; in the default precision and in its own.
TEST(FloatingPointScope, LeavesTheX87FlagsAsTheyWere) {
  const FloatingPointState original = read_floating_point();
  for (const bool is_flagged : {false, true}) {
    for (const std::uint16_t control :
         {std::uint16_t{0x037F}, std::uint16_t{0x027F}, std::uint16_t{0x0370}}) {
      __asm__ volatile("fninit\n\tfldcw %0" : : "m"(control));
      volatile long double x87 = 1;
      if (is_flagged) x87 = x87 / 3;
      const FloatingPointState before = read_floating_point();
      FloatingPointState inside;
      {
        const FloatingPointScope scope;
        inside = read_floating_point();
        x87 = 1;
        x87 = x87 / 3;
        x87 = 0;
        x87 = x87 / x87;  // leaves the flag of an invalid operation
        volatile double zero = 0;
        zero = zero / zero;
      }
      const FloatingPointState after = read_floating_point();
      EXPECT_TRUE(is_default(inside));
      EXPECT_TRUE(after == before);
    }
  }
  write_floating_point(original);
}
#endif

}  // namespace
}  // namespace kyv::runtime
