#include <dlfcn.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "error.h"
#include "platform.h"
#include "unfinished_files.h"

namespace kyv::host::platform {
namespace {

UnfinishedFiles<char, 4096> unfinished_files;

extern "C" void remove_unfinished_files(int signal_number) {
  unfinished_files.for_each([](const char* name) { unlink(name); });
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

void install_interrupt_handler() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = remove_unfinished_files;
    sigaction(number, &action, nullptr);
  }
}

}  // namespace

const char* const kLibraryName = "libKyvMath.so";

std::filesystem::path executable_path() {
  std::error_code ignored;
  return std::filesystem::read_symlink("/proc/self/exe", ignored);
}

unsigned processor_count() { return std::max(1u, std::thread::hardware_concurrency()); }

unsigned process_id() { return static_cast<unsigned>(getpid()); }

bool is_terminal(Stream stream) {
  return isatty(stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

int terminal_width(Stream stream) {
  winsize size{};
  const int descriptor = stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO;
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::FILE* open_file(const std::filesystem::path& file, const char* mode) {
  return std::fopen(file.c_str(), mode);
}

std::FILE* binary_standard_input() { return stdin; }

std::FILE* binary_standard_output() { return stdout; }

void use_utf8_console() {}

int remove_on_interrupt(const std::filesystem::path& file) {
  static std::once_flag installed;
  std::call_once(installed, install_interrupt_handler);
  return unfinished_files.add(file.native());
}

void keep_on_interrupt(int slot) { unfinished_files.remove(slot); }

SharedLibrary::SharedLibrary(const std::filesystem::path& file)
    : asked_for_(file), handle_(dlopen(file.c_str(), RTLD_NOW)) {
  if (handle_ == nullptr) throw Error(dlerror());
}

SharedLibrary::~SharedLibrary() { dlclose(handle_); }

void* SharedLibrary::symbol(const char* name) const {
  void* found = dlsym(handle_, name);
  if (found != nullptr) known_symbol_ = found;
  return found;
}

std::filesystem::path SharedLibrary::file() const {
  Dl_info info{};
  if (known_symbol_ == nullptr || dladdr(known_symbol_, &info) == 0) return asked_for_;
  std::error_code failure;
  const auto resolved = std::filesystem::canonical(info.dli_fname, failure);
  return failure ? std::filesystem::path(info.dli_fname) : resolved;
}

std::string SharedLibrary::version() const {
  const std::string name = file().filename().string();
  const std::string marker = ".so.";
  const auto at = name.find(marker);
  return at == std::string::npos ? "" : name.substr(at + marker.size());
}

void run_on_threads(int count, const std::function<void()>& body) {
  std::vector<std::jthread> helpers;
  for (int i = 1; i < count; ++i) {
    try {
      helpers.emplace_back(body);
    } catch (const std::system_error&) {
      break;
    }
  }
  body();
}

struct Mutex::Impl {
  std::mutex mutex;
};

Mutex::Mutex() : impl_(std::make_unique<Impl>()) {}
Mutex::~Mutex() = default;
void Mutex::lock() { impl_->mutex.lock(); }
void Mutex::unlock() { impl_->mutex.unlock(); }

}  // namespace kyv::host::platform
