#pragma once

#include <chrono>
#include <string>

#include "platform.h"

namespace kyv::host {

// Tells how far a batch has come. On a terminal one line is redrawn on standard error: a bar, the rate and
// the time left. Elsewhere it stays silent, and only the results' own lines appear. Thread-safe.
class Progress {
 public:
  explicit Progress(int total);
  ~Progress();

  // Counts one finished piece of work and prints its line: results to standard output, failures to standard
  // error. An empty line is not printed.
  void finish_one(const std::string& line, bool failed);

 private:
  void draw();
  void erase();

  platform::Mutex mutex_;
  const std::chrono::steady_clock::time_point start_;
  const int total_;
  int done_ = 0;
  const bool bar_;
};

}  // namespace kyv::host
