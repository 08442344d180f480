// A thread of the platform and its handle.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace kyv::thread {

class CMyThread {
 public:
  // Starts nothing yet.
  CMyThread(platform::ThreadRoutine routine, void* argument) noexcept
      : routine_(routine), argument_(argument) {}
  CMyThread(const CMyThread&) = delete;
  CMyThread& operator=(const CMyThread&) = delete;
  virtual ~CMyThread();  // lets go of the thread without waiting for its end

  int start() noexcept;  // 0, or -1 when no thread could be started
  bool join()
      const noexcept;    // waits for the thread's end, at once when there is none; false: the wait failed
  int close() noexcept;  // gives the handle back; always 0

  platform::Handle handle() const noexcept { return handle_; }       // null: no thread
  std::uint32_t identifier() const noexcept { return identifier_; }  // 0: no thread

 private:
  platform::ThreadRoutine routine_;
  void* argument_;
  platform::Handle handle_ = nullptr;
  std::uint32_t identifier_ = 0;
};

}  // namespace kyv::thread
