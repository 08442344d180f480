// Hosts change the floating-point environment: unmasked exceptions, flush-to-zero, rounding, x87 precision.
// There is one source for each architecture.
#pragma once

#include <cstdint>

namespace kyv::runtime {

// While it lives, this thread rounds to nearest even, keeps denormal numbers, traps nothing, and computes
// x87 arithmetic to 64 bits. Afterwards the environment is bit for bit what it was, status flags included.
// (Where no exception was pending before, the addresses of the last x87 instruction and its operand may have
// changed: storing and loading them would take longer than transforming a small plane.)
class FloatingPointScope {
 public:
  FloatingPointScope() noexcept;
  FloatingPointScope(const FloatingPointScope&) = delete;
  FloatingPointScope& operator=(const FloatingPointScope&) = delete;
  ~FloatingPointScope();

 private:
#ifdef __aarch64__
  std::uint64_t control_ = 0;
  std::uint64_t status_ = 0;
#else
  void restore_flags_and_control() const noexcept;

  std::uint32_t x87_[7];  // as fnstenv stores it; only where an exception was pending
  std::uint32_t mxcsr_ = 0;
  std::uint16_t x87_control_ = 0;
  std::uint16_t x87_status_ = 0;
#endif
};

}  // namespace kyv::runtime
