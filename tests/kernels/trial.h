// One kernel at work on inputs of its own: to be compared with a plain reference, and to be timed.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "runtime/dispatch.h"

namespace kyv::kernels {

// A count of bytes, samples or pixels as the standard library counts.
inline std::size_t u(std::ptrdiff_t value) { return static_cast<std::size_t>(value); }

struct Trial {
  std::string name;                      // the kernel and the shape of its work
  double units = 0.0;                    // of work in a run
  const char* unit = "";                 // what they are
  std::function<void()> run;             // the kernel, with all that it is given
  std::function<std::string()> verdict;  // what is wrong with what the last run left; empty: nothing
};
using Trials = std::vector<Trial>;

// Random inputs as pictures give them, or values that are hard to round, out of range, tiny or of either
// zero.
enum class Inputs { kPicture, kHard };

class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}

  std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(engine_() % n); }
  int between(int low, int high) {
    return low + static_cast<int>(below(static_cast<std::uint32_t>(high - low + 1)));
  }
  double unit() { return static_cast<double>(engine_()) * 0x1p-32; }
  template <class T>
  void fill_bytes(std::vector<T>& values) {
    for (T& value : values) value = static_cast<T>(engine_());
  }

 private:
  std::mt19937 engine_;
};

// What a kernel may write: `count` values and `slack` more behind them; what lies before and behind must
// stay.
template <class T>
class Canaried {
 public:
  explicit Canaried(std::size_t count, std::size_t slack = 0, std::size_t misplaced_bytes = 0)
      : memory_(2 * kCanary + (count + slack) * sizeof(T) + 64, kMark),
        begin_(kCanary + misplaced_bytes),
        count_(count),
        end_(begin_ + (count + slack) * sizeof(T)) {
    begin_ += (64 - reinterpret_cast<std::uintptr_t>(memory_.data() + kCanary) % 64) % 64;
    end_ = begin_ + (count + slack) * sizeof(T);
  }

  T* data() { return reinterpret_cast<T*>(memory_.data() + begin_); }
  std::vector<T> values() const {
    std::vector<T> values(count_);
    if (count_ > 0) std::memcpy(values.data(), memory_.data() + begin_, count_ * sizeof(T));
    return values;
  }
  bool intact() const {
    const auto is_mark = [](std::uint8_t byte) { return byte == kMark; };
    return std::all_of(memory_.data(), memory_.data() + begin_, is_mark) &&
           std::all_of(memory_.data() + end_, memory_.data() + memory_.size(), is_mark);
  }

 private:
  static constexpr std::size_t kCanary = 256;
  static constexpr std::uint8_t kMark = 0xC9;

  std::vector<std::uint8_t> memory_;
  std::size_t begin_;
  std::size_t count_;
  std::size_t end_;
};

// The first place where the bits differ, in words.
template <class T>
std::string difference(const std::vector<T>& values, const std::vector<T>& expected) {
  // In one comparison: those of single values take longer with sanitizers than the kernels do.
  if (expected.empty() || std::memcmp(values.data(), expected.data(), expected.size() * sizeof(T)) == 0)
    return {};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (std::memcmp(&values[i], &expected[i], sizeof(T)) == 0) continue;
    return "value " + std::to_string(i) + " is " + std::to_string(values[i]) + ", not " +
           std::to_string(expected[i]);
  }
  return {};
}

template <class T>
std::string verdict_on(const Canaried<T>& written, const std::vector<T>& expected) {
  return written.intact() ? difference(written.values(), expected) : "wrote outside its memory";
}

// For each kernel of a table, in each of some shapes of work.
void add_column_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials);
void add_transposed_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials);
void add_permuted_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials);
void add_running_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials);
void add_shuffled_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials);
void add_byte_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials);
void add_weight_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials);
void add_transform_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials);

// All of them.
Trials trials_of(const runtime::KernelSet& set, Inputs inputs, std::uint32_t seed);

// Weights and samples that a resize meets, or hard ones; 128 products stay within 32-bit integers.
float some_weight(Inputs inputs, Random& random);
float some_sample(Inputs inputs, Random& random);

// The defined sum: blocks of 128 taps, each from zero with one rounding to float per tap; the blocks in
// order.
float reference_sum(const std::vector<float>& weights, const std::vector<float>& samples);

}  // namespace kyv::kernels
