// The least time that the machine allows for a piece of work.
#pragma once

namespace kyv::bench {

struct Roofline {
  double arithmetic_seconds;
  double memory_seconds;

  double seconds() const { return arithmetic_seconds > memory_seconds ? arithmetic_seconds : memory_seconds; }
  bool arithmetic_binds() const { return arithmetic_seconds > memory_seconds; }
};

}  // namespace kyv::bench
