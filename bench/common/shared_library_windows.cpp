#include <windows.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "common/shared_library.h"

namespace kyv::bench {

SharedLibrary::SharedLibrary(const std::string& path) {
  const std::filesystem::path absolute = std::filesystem::absolute(path);
  if (GetModuleHandleW(absolute.c_str()) != nullptr) {
    throw std::runtime_error(path + " is loaded already: give a copy of it");
  }
  handle_ = LoadLibraryW(absolute.c_str());
  if (handle_ == nullptr) throw std::runtime_error("cannot load " + path);
}

SharedLibrary::~SharedLibrary() { FreeLibrary(static_cast<HMODULE>(handle_)); }

void* SharedLibrary::find(const char* symbol) const {
  const FARPROC address = GetProcAddress(static_cast<HMODULE>(handle_), symbol);
  if (address == nullptr) throw std::runtime_error(std::string("no function ") + symbol);
  return reinterpret_cast<void*>(address);
}

}  // namespace kyv::bench
