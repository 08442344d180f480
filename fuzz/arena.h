// Buffers of exactly the size that a call is promised, at either end of memory between inaccessible pages.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/cpu_features.h"
#include "runtime/dispatch.h"
#include "support/guarded_memory.h"

namespace kyv::fuzz {

// Says what was wrong and ends the process.
[[gnu::format(printf, 2, 3)]] inline void require(bool holds, const char* format, ...) {
  if (holds) return;
  va_list values;
  va_start(values, format);
  std::vfprintf(stderr, format, values);
  va_end(values);
  std::fputc('\n', stderr);
  std::abort();
}

class Arena {
 public:
  explicit Arena(std::size_t bytes) : memory_(bytes) {}

  // `bytes` bytes that begin (or end) `offset` bytes from an inaccessible page; they and their surroundings
  // are marked.
  std::uint8_t* take(std::size_t bytes, bool at_end, std::size_t offset = 0) {
    require(bytes + offset <= memory_.size(), "a buffer of %u bytes is more than the arena holds",
            static_cast<unsigned>(bytes));
    taken_ = at_end ? memory_.end() - bytes - offset : memory_.begin() + offset;
    taken_end_ = taken_ + bytes;
    const auto margin = [](std::size_t room) { return room < kMargin ? room : kMargin; };
    first_ = taken_ - margin(static_cast<std::size_t>(taken_ - memory_.begin()));
    last_ = taken_end_ + margin(static_cast<std::size_t>(memory_.end() - taken_end_));
    std::memset(first_, kUntouched, static_cast<std::size_t>(last_ - first_));
    return taken_;
  }

  // An address that must not be followed.
  std::uint8_t* forbidden() const { return memory_.end(); }

  // Whether the surroundings of the taken bytes are as they were; with `inside` the taken bytes as well.
  bool untouched(bool inside) const {
    return inside ? is_marked(first_, last_) : is_marked(first_, taken_) && is_marked(taken_end_, last_);
  }

  static constexpr std::uint8_t kUntouched = 0xA5;

 private:
  static constexpr std::size_t kMargin = 8192;

  static bool is_marked(const std::uint8_t* first, const std::uint8_t* last) {
    if (first == last) return true;
    return *first == kUntouched &&
           std::memcmp(first, first + 1, static_cast<std::size_t>(last - first) - 1) == 0;
  }

  test::GuardedMemory memory_;
  std::uint8_t* taken_ = nullptr;
  std::uint8_t* taken_end_ = nullptr;
  std::uint8_t* first_ = nullptr;  // the marked part
  std::uint8_t* last_ = nullptr;
};

// Calls visit(kernel set) for each variant that this machine runs.
template <class Visit>
void for_each_variant(const Visit& visit) {
  for (const runtime::KernelSet& set : runtime::all_kernel_sets()) {
    if (runtime::machine_runs(set)) visit(set);
  }
}

}  // namespace kyv::fuzz
