#pragma once

#include <stdexcept>
#include <string>

namespace kyv::host {

// A failure that the user can act on. The text is one line: what was wrong, with which file, what would work.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A request that could never work, whatever the files hold (exit status 2).
class UsageError : public Error {
 public:
  using Error::Error;
};

}  // namespace kyv::host
