#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "platform/platform.h"

namespace kyv::platform {
namespace {

thread_local std::uint32_t t_last_error = 0;

bool succeeded(int error) {
  if (error != 0) t_last_error = static_cast<std::uint32_t>(error);
  return error == 0;
}

// What a handle points at.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;
  virtual int wait() = 0;
  virtual int signal() { return EINVAL; }
};

class Event final : public Object {
 public:
  int open() {
    if (const int error = pthread_mutex_init(&mutex_, nullptr); error != 0) return error;
    const int error = pthread_cond_init(&condition_, nullptr);
    if (error != 0) pthread_mutex_destroy(&mutex_);
    opened_ = error == 0;
    return error;
  }

  ~Event() override {
    if (!opened_) return;
    pthread_cond_destroy(&condition_);
    pthread_mutex_destroy(&mutex_);
  }

  int wait() override {
    pthread_mutex_lock(&mutex_);
    while (!signalled_) pthread_cond_wait(&condition_, &mutex_);
    signalled_ = false;
    pthread_mutex_unlock(&mutex_);
    return 0;
  }

  int signal() override {
    pthread_mutex_lock(&mutex_);
    signalled_ = true;
    pthread_cond_signal(&condition_);
    pthread_mutex_unlock(&mutex_);
    return 0;
  }

 private:
  pthread_mutex_t mutex_{};
  pthread_cond_t condition_{};
  bool signalled_ = false;
  bool opened_ = false;
};

class Thread final : public Object {
 public:
  // The new thread takes a copy of its start, because the handle may be closed before it runs.
  int start(ThreadRoutine routine, void* argument) {
    auto* start = new (std::nothrow) Start{routine, argument};
    if (start == nullptr) return ENOMEM;
    const int error = pthread_create(&thread_, nullptr, run, start);
    if (error != 0) delete start;
    running_ = error == 0;
    return error;
  }

  ~Thread() override {
    if (running_) pthread_detach(thread_);
  }

  int wait() override {
    if (!running_) return 0;
    running_ = false;
    return pthread_join(thread_, nullptr);
  }

 private:
  struct Start {
    ThreadRoutine routine;
    void* argument;
  };

  static void* run(void* memory) {
    const Start start = *static_cast<Start*>(memory);
    delete static_cast<Start*>(memory);
    start.routine(start.argument);
    return nullptr;
  }

  pthread_t thread_{};
  bool running_ = false;  // neither joined nor detached yet
};

Object* object_of(Handle handle) {
  if (handle == nullptr) t_last_error = EINVAL;
  return static_cast<Object*>(handle);
}

void get_system_info(SystemInfo* info) {
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  info->number_of_processors = online > 0 ? static_cast<std::uint32_t>(online) : 0;
}

std::uint32_t tls_alloc() {
  pthread_key_t key = 0;
  return succeeded(pthread_key_create(&key, nullptr)) ? static_cast<std::uint32_t>(key) : kTlsOutOfIndexes;
}

bool tls_free(std::uint32_t index) { return succeeded(pthread_key_delete(index)); }

void* tls_get_value(std::uint32_t index) {
  t_last_error = 0;
  return pthread_getspecific(index);
}

bool tls_set_value(std::uint32_t index, void* value) { return succeeded(pthread_setspecific(index, value)); }

std::uint32_t get_last_error() { return t_last_error; }

Handle create_event() {
  auto* event = new (std::nothrow) Event;
  if (!succeeded(event == nullptr ? ENOMEM : event->open())) {
    delete event;
    return nullptr;
  }
  return static_cast<Object*>(event);
}

bool set_event(Handle handle) {
  Object* object = object_of(handle);
  return object != nullptr && succeeded(object->signal());
}

std::uint32_t wait_for_single_object(Handle handle) {
  Object* object = object_of(handle);
  return object != nullptr && succeeded(object->wait()) ? kWaitObject0 : kWaitFailed;
}

bool close_handle(Handle handle) {
  Object* object = object_of(handle);
  delete object;
  return object != nullptr;
}

Handle begin_thread(ThreadRoutine routine, void* argument, std::uint32_t* identifier) {
  static std::atomic<std::uint32_t> last_identifier{0};
  auto* thread = new (std::nothrow) Thread;
  if (!succeeded(thread == nullptr ? ENOMEM : thread->start(routine, argument))) {
    delete thread;
    return nullptr;
  }
  *identifier = ++last_identifier;
  return static_cast<Object*>(thread);
}

std::int32_t increment(std::atomic<std::int32_t>* value) { return value->fetch_add(1) + 1; }

void output_debug_string(const char* text) { static_cast<void>(std::fputs(text, stderr)); }

int format_bounded(char* buffer, std::size_t count, const char* format, std::va_list arguments) {
  const int length = std::vsnprintf(buffer, count + 1, format, arguments);
  return length >= 0 && static_cast<std::size_t>(length) > count ? -1 : length;
}

#ifdef MADV_HUGEPAGE
void advise_huge_pages(void* memory, std::size_t bytes) {
  const int saved = errno;
  static_cast<void>(madvise(memory, bytes, MADV_HUGEPAGE));
  errno = saved;
}
#else
constexpr auto advise_huge_pages = nullptr;
#endif

}  // namespace

constexpr Services operating_system = {
    .GetSystemInfo = get_system_info,
    .TlsAlloc = tls_alloc,
    .TlsFree = tls_free,
    .TlsGetValue = tls_get_value,
    .TlsSetValue = tls_set_value,
    .GetLastError = get_last_error,
    .CreateEventW = create_event,
    .SetEvent = set_event,
    .WaitForSingleObject = wait_for_single_object,
    .CloseHandle = close_handle,
    ._beginthreadex = begin_thread,
    .InterlockedIncrement = increment,
    .OutputDebugStringA = output_debug_string,
    ._vsnprintf = format_bounded,
    .malloc = std::malloc,
    .calloc = std::calloc,
    .free = std::free,
    .advise_huge_pages = advise_huge_pages,
};

constinit Services services = operating_system;

}  // namespace kyv::platform
