#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "common/shared_library.h"

namespace kyv::bench {
namespace {

void* open_library(const std::filesystem::path& path) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) throw std::runtime_error(dlerror());
  return handle;
}

bool is_loaded(const std::filesystem::path& path) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

// The loader tells files apart by their inodes, so a copy under another name counts as another library.
void* open_copy(const std::filesystem::path& path) {
  std::string folder = std::filesystem::temp_directory_path() / "kyvmath-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("cannot make " + folder);
  const std::filesystem::path copy = std::filesystem::path(folder) / path.filename();
  std::filesystem::copy_file(path, copy);
  void* handle = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  std::filesystem::remove_all(folder);
  if (handle == nullptr) throw std::runtime_error(dlerror());
  return handle;
}

}  // namespace

SharedLibrary::SharedLibrary(const std::string& path) {
  const std::filesystem::path absolute = std::filesystem::absolute(path);
  handle_ = is_loaded(absolute) ? open_copy(absolute) : open_library(absolute);
}

SharedLibrary::~SharedLibrary() { dlclose(handle_); }

void* SharedLibrary::find(const char* symbol) const {
  void* address = dlsym(handle_, symbol);
  if (address == nullptr) throw std::runtime_error(std::string("no function ") + symbol);
  return address;
}

}  // namespace kyv::bench
