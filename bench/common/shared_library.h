// Libraries that are loaded at run time.
#pragma once

#include <string>

namespace kyv::bench {

// A loaded library; unloaded at the end.
class SharedLibrary {
 public:
  // A file that is loaded already is loaded once more, with data of its own. Throws std::runtime_error.
  explicit SharedLibrary(const std::string& path);
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  ~SharedLibrary();

  void* find(const char* symbol) const;  // throws std::runtime_error when it is not there

  template <class Function>
  Function function(const char* symbol) const {
    return reinterpret_cast<Function>(find(symbol));
  }

 private:
  void* handle_ = nullptr;
};

}  // namespace kyv::bench
