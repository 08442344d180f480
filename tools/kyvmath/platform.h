#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

// What the host asks of the operating system. One implementation per platform.
namespace kyv::host::platform {

std::filesystem::path executable_path();
unsigned processor_count();
unsigned process_id();

enum class Stream { kOutput, kError };
bool is_terminal(Stream stream);
// Columns of the terminal behind the stream; 80 when it does not say.
int terminal_width(Stream stream);
// Like fopen, whose mode it takes: null, and errno set, when that fails.
std::FILE* open_file(const std::filesystem::path& file, const char* mode);
// The standard streams, ready for bytes that are not text.
std::FILE* binary_standard_input();
std::FILE* binary_standard_output();
// Makes UTF-8 text readable on the console until the program ends.
void use_utf8_console();

// Removes the file when the program is interrupted. Returns a slot for keep_on_interrupt(), or -1 when all
// slots are taken (the file is then left behind by an interruption).
int remove_on_interrupt(const std::filesystem::path& file);
void keep_on_interrupt(int slot);

// A dynamically loaded library. Throws Error with the system's reason when it cannot be loaded.
class SharedLibrary {
 public:
  explicit SharedLibrary(const std::filesystem::path& file);
  ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  void* symbol(const char* name) const;  // null when the library lacks it
  // Where the loaded file lies, links resolved; what was asked for while that is not known.
  std::filesystem::path file() const;
  // "1.0.0", from the version resource (Windows) or the file name's suffix (Linux); empty when there is none.
  std::string version() const;

 private:
  std::filesystem::path asked_for_;
  void* handle_ = nullptr;
  mutable void* known_symbol_ = nullptr;
};

// The library's file name on this platform.
extern const char* const kLibraryName;

// Runs body on `count` threads at once, the caller's included, and returns when all have finished. The body
// must not throw. When a thread cannot be started the others do its work.
void run_on_threads(int count, const std::function<void()>& body);

class Mutex {
 public:
  Mutex();
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  void lock();
  void unlock();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kyv::host::platform
