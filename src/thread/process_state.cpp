#include "thread/process_state.h"

#include <algorithm>
#include <utility>

#include "runtime/debug_print.h"
#include "runtime/object.h"

namespace kyv::thread {
namespace {

using platform::services;
using runtime::debug_print;

constinit ThreadSlot* g_slot = nullptr;
constinit std::uint32_t g_processor_count = 0;

}  // namespace

bool create_thread_slot() {
  auto slot = runtime::make_object<ThreadSlot>();
  if (!slot) return false;
  slot->index = services.TlsAlloc();
  const bool allocated = slot->index != platform::kTlsOutOfIndexes;
  if (!allocated) debug_print("TlsAlloc Error : %u\n", services.GetLastError());
  g_slot = slot.release();
  return allocated;
}

void release_thread_slot() {
  const runtime::Owned<ThreadSlot> slot(std::exchange(g_slot, nullptr));
  if (slot && slot->index != platform::kTlsOutOfIndexes && !services.TlsFree(slot->index))
    debug_print("TlsFree Error : %u\n", services.GetLastError());
}

const ThreadSlot* thread_slot() noexcept { return g_slot; }

void read_processor_count() noexcept {
  platform::SystemInfo info{};
  services.GetSystemInfo(&info);
  g_processor_count = std::max<std::uint32_t>(info.number_of_processors, 1);
}

std::uint32_t processor_count() noexcept { return g_processor_count; }

}  // namespace kyv::thread
