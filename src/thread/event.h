// Auto-reset events over the platform's event objects.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace kyv::thread {

// An event that starts not signalled; one successful wait resets it. Failures are logged; an event that
// could not be created has a null handle, and nothing else can be told from it.
class CBaseEvent {
 public:
  CBaseEvent() noexcept;
  CBaseEvent(const CBaseEvent&) = delete;
  CBaseEvent& operator=(const CBaseEvent&) = delete;
  virtual ~CBaseEvent();

  void set() const noexcept;
  std::uint32_t wait() const noexcept;  // platform::kWaitObject0 when it was signalled
  platform::Handle handle() const noexcept { return handle_; }

 private:
  platform::Handle handle_;
};

// The event by which a batch of tasks reports its completion.
class CSimpleEvent : public CBaseEvent {};

}  // namespace kyv::thread
