#pragma once

namespace kyv::thread {

// Declared for code built on these classes; the library itself never throws it.
class CKyvException {
 public:
  virtual ~CKyvException() = default;
};

}  // namespace kyv::thread
