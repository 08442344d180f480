// Hosts change the floating-point environment. Every working export gives the same bytes in all of them, and
// leaves the environment as it found it.
#include <gtest/gtest.h>

#include "support/floating_point_state.h"
#include "trust/export_calls.h"

namespace kyv::trust {
namespace {

using testing_support::FloatingPointState;
using testing_support::hostile_floating_point;
using testing_support::read_floating_point;
using testing_support::write_floating_point;

constexpr std::uint32_t kMxcsrDefault = 0x1F80;
constexpr std::uint32_t kX87Default = 0x037F;

struct Environment {
  const char* name;
  std::uint32_t mxcsr;
  std::uint32_t x87_control;
};

// Rounding lies in bits 13-14 of MXCSR and 10-11 of the x87 control word, its precision in bits 8-9.
constexpr Environment kEnvironments[] = {
    {"rounding down", kMxcsrDefault | 0x2000, kX87Default | 0x0400},
    {"rounding up", kMxcsrDefault | 0x4000, kX87Default | 0x0800},
    {"rounding to zero", kMxcsrDefault | 0x6000, kX87Default | 0x0C00},
    {"flushing to zero", kMxcsrDefault | 0x8000, kX87Default},
    {"denormal numbers as zeros", kMxcsrDefault | 0x0040, kX87Default},
    {"x87 at 24 bits", kMxcsrDefault, kX87Default & ~0x0300u},
    {"x87 at 53 bits", kMxcsrDefault, (kX87Default & ~0x0300u) | 0x0200},
    {"every exception unmasked", 0x0000, kX87Default & ~0x003Fu},
    {"flags raised", kMxcsrDefault | 0x003F, kX87Default},
};

FloatingPointState state_of(const Environment& environment) {
  FloatingPointState state = read_floating_point();
  state.mxcsr = environment.mxcsr;
  state.x87[0] = (state.x87[0] & 0xFFFF0000u) | environment.x87_control;
  return state;
}

// Runs the call in the environment. True when it left the environment as it was.
bool run_in(const FloatingPointState& environment, ExportCall& call, KyvMathStatusCode& status) {
  const FloatingPointState original = read_floating_point();
  write_floating_point(environment);
  const FloatingPointState before = read_floating_point();
  status = call.run();
  const FloatingPointState after = read_floating_point();
  write_floating_point(original);
  return after.mxcsr == before.mxcsr && after.x87_control() == before.x87_control() &&
         after.x87_status() == before.x87_status() && after.x87_tags() == before.x87_tags();
}

TEST(HostEnvironment, NeitherChangesAResultNorIsChanged) {
  ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
  std::vector<std::pair<std::string, FloatingPointState>> environments;
  for (const Environment& environment : kEnvironments)
    environments.emplace_back(environment.name, state_of(environment));
  environments.emplace_back("all at once", hostile_floating_point());

  for (ExportCall& call : all_export_calls()) {
    ASSERT_EQ(call.run(), KYVMATH_OK) << call.name();
    const Bytes expected = call.output();
    for (const auto& [name, environment] : environments) {
      call.clear_output();
      KyvMathStatusCode status = KYVMATH_FAILED;
      EXPECT_TRUE(run_in(environment, call, status)) << call.name() << ", " << name;
      EXPECT_EQ(status, KYVMATH_OK) << call.name() << ", " << name;
      EXPECT_TRUE(call.output() == expected) << call.name() << ", " << name;
    }
  }
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
}

}  // namespace
}  // namespace kyv::trust
