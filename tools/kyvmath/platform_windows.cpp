#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <windows.h>

#include <cstdlib>
#include <vector>

#include "error.h"
#include "platform.h"
#include "unfinished_files.h"

namespace kyv::host::platform {
namespace {

UnfinishedFiles<wchar_t, 1024> unfinished_files;

BOOL WINAPI remove_unfinished_files(DWORD) {
  unfinished_files.for_each([](const wchar_t* name) { DeleteFileW(name); });
  return FALSE;
}

std::string last_error_text() {
  const DWORD code = GetLastError();
  wchar_t* text = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
      code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  const auto utf8 = std::filesystem::path(std::wstring(text == nullptr ? L"" : text, length)).u8string();
  LocalFree(text);
  std::string message(utf8.begin(), utf8.end());
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) message.pop_back();
  return message + " (" + std::to_string(code) + ")";
}

HANDLE handle_of(Stream stream) {
  return GetStdHandle(stream == Stream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

unsigned previous_code_page = 0;

unsigned __stdcall run_body(void* body) {
  (*static_cast<const std::function<void()>*>(body))();
  return 0;
}

}  // namespace

const char* const kLibraryName = "KyvMath.dll";

std::filesystem::path executable_path() {
  std::wstring name(32768, L'\0');
  name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
  return name;
}

unsigned processor_count() {
  SYSTEM_INFO info{};
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors == 0 ? 1 : static_cast<unsigned>(info.dwNumberOfProcessors);
}

unsigned process_id() { return static_cast<unsigned>(GetCurrentProcessId()); }

bool is_terminal(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handle_of(stream), &mode) != 0;
}

int terminal_width(Stream stream) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(handle_of(stream), &info) == 0) return 80;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

std::FILE* open_file(const std::filesystem::path& file, const char* mode) {
  return _wfopen(file.c_str(), std::filesystem::path(mode).c_str());
}

std::FILE* binary_standard_input() {
  _setmode(_fileno(stdin), _O_BINARY);
  return stdin;
}

std::FILE* binary_standard_output() {
  _setmode(_fileno(stdout), _O_BINARY);
  return stdout;
}

void use_utf8_console() {
  previous_code_page = GetConsoleOutputCP();
  SetConsoleOutputCP(CP_UTF8);
  std::atexit([] { SetConsoleOutputCP(previous_code_page); });
}

int remove_on_interrupt(const std::filesystem::path& file) {
  static const BOOL installed = SetConsoleCtrlHandler(remove_unfinished_files, TRUE);
  if (installed == 0) return -1;
  return unfinished_files.add(file.native());
}

void keep_on_interrupt(int slot) { unfinished_files.remove(slot); }

SharedLibrary::SharedLibrary(const std::filesystem::path& file)
    : asked_for_(file), handle_(LoadLibraryW(file.c_str())) {
  // The system's text has a place for the name, or none.
  if (handle_ == nullptr) {
    const auto name = file.u8string();
    throw Error(std::string(name.begin(), name.end()) + ": " + last_error_text());
  }
}

SharedLibrary::~SharedLibrary() { FreeLibrary(static_cast<HMODULE>(handle_)); }

void* SharedLibrary::symbol(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

std::filesystem::path SharedLibrary::file() const {
  std::wstring name(32768, L'\0');
  name.resize(
      GetModuleFileNameW(static_cast<HMODULE>(handle_), name.data(), static_cast<DWORD>(name.size())));
  return name;
}

std::string SharedLibrary::version() const {
  const std::wstring name = file().wstring();
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(name.c_str(), &ignored);
  std::vector<char> resource(size);
  void* value = nullptr;
  UINT length = 0;
  if (size == 0 || GetFileVersionInfoW(name.c_str(), 0, size, resource.data()) == 0 ||
      VerQueryValueW(resource.data(), L"\\", &value, &length) == 0 || length < sizeof(VS_FIXEDFILEINFO)) {
    return "";
  }
  const auto* info = static_cast<const VS_FIXEDFILEINFO*>(value);
  return std::to_string(HIWORD(info->dwFileVersionMS)) + "." + std::to_string(LOWORD(info->dwFileVersionMS)) +
         "." + std::to_string(HIWORD(info->dwFileVersionLS));
}

void run_on_threads(int count, const std::function<void()>& body) {
  std::vector<HANDLE> helpers;
  for (int i = 1; i < count; ++i) {
    void* argument = const_cast<std::function<void()>*>(&body);
    const auto thread = _beginthreadex(nullptr, 0, run_body, argument, 0, nullptr);
    if (thread == 0) break;
    helpers.push_back(reinterpret_cast<HANDLE>(thread));
  }
  body();
  for (HANDLE helper : helpers) {
    WaitForSingleObject(helper, INFINITE);
    CloseHandle(helper);
  }
}

struct Mutex::Impl {
  CRITICAL_SECTION section;
};

Mutex::Mutex() : impl_(std::make_unique<Impl>()) { InitializeCriticalSection(&impl_->section); }
Mutex::~Mutex() { DeleteCriticalSection(&impl_->section); }
void Mutex::lock() { EnterCriticalSection(&impl_->section); }
void Mutex::unlock() { LeaveCriticalSection(&impl_->section); }

}  // namespace kyv::host::platform
