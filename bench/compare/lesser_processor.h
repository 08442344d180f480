// A processor that seems to have less than it has.
#pragma once

#include <memory>
#include <string>

namespace kyv::bench {

// While this lives, the CPUID instruction tells this thread of no more than what the kernel set `name` needs.
// The processor and the kernel must be able to intercept the instruction (x86 Linux, "cpuid_fault" in
// /proc/cpuinfo). Throws std::runtime_error where they are not, std::invalid_argument for an unknown set.
class LesserProcessor {
 public:
  explicit LesserProcessor(const std::string& name);
  LesserProcessor(const LesserProcessor&) = delete;
  LesserProcessor& operator=(const LesserProcessor&) = delete;
  ~LesserProcessor();

  bool was_asked() const;
};

}  // namespace kyv::bench
