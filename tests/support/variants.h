// Tests that run once per kernel variant: a variant that the machine lacks shows as skipped, by name.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "runtime/dispatch.h"

namespace kyv::runtime {

inline void PrintTo(const KernelSet& set, std::ostream* out) { *out << set.name; }

}  // namespace kyv::runtime

namespace kyv::test {

inline std::string variant_name(const testing::TestParamInfo<runtime::KernelSet>& info) {
  return info.param.name;
}

class PerVariant : public testing::TestWithParam<runtime::KernelSet> {
 protected:
  void SetUp() override {
    if (!runtime::machine_runs(GetParam())) GTEST_SKIP() << "this machine does not run " << GetParam().name;
  }
};

}  // namespace kyv::test
