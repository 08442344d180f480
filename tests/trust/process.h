// Loading libraries, and what this process holds of the operating system, on either system.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::trust {

class LoadedLibrary {
 public:
  explicit LoadedLibrary(const char* file);
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  ~LoadedLibrary();

  bool loaded() const { return handle_ != nullptr; }

  template <class Function>
  Function function(const char* name) const {
    return reinterpret_cast<Function>(address_of(name));
  }

 private:
  using Address = void (*)();
  Address address_of(const char* name) const;

  void* handle_;
};

bool is_loaded(const char* file);

struct ProcessHoldings {
  std::ptrdiff_t memory;    // bytes
  std::size_t handles;      // or file descriptors
  std::size_t mappings;     // of files into memory; 0 where that cannot be told
  std::uint32_t next_slot;  // the thread-local slot that would be given out next
};

ProcessHoldings holdings_of_this_process();

}  // namespace kyv::trust
