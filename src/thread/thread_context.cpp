#include "thread/thread_context.h"

#include "platform/platform.h"
#include "runtime/debug_print.h"
#include "thread/process_state.h"

namespace kyv::thread {
namespace {

using platform::services;
using runtime::debug_print;

std::uint32_t slot_index() noexcept {
  const ThreadSlot* slot = thread_slot();
  return slot != nullptr ? slot->index : platform::kTlsOutOfIndexes;
}

struct Lookup {
  ThreadContext* context;
  std::uint32_t error;
};

Lookup look_up_context(std::uint32_t index) noexcept {
  auto* const context = static_cast<ThreadContext*>(services.TlsGetValue(index));
  const std::uint32_t error = context != nullptr ? 0 : services.GetLastError();
  if (error != 0) debug_print("TlsGetValue Error : %u\n", error);
  return {context, error};
}

bool store_context(std::uint32_t index, ThreadContext* context) noexcept {
  if (services.TlsSetValue(index, context)) return true;
  debug_print("TlsSetValue Error : %u\n", services.GetLastError());
  return false;
}

}  // namespace

ThreadContext* get_thread_context() {
  const std::uint32_t index = slot_index();
  if (index == platform::kTlsOutOfIndexes) return nullptr;
  const Lookup found = look_up_context(index);
  if (found.context != nullptr || found.error != 0) return found.context;
  auto context = runtime::make_object<ThreadContext>();
  if (!context || !store_context(index, context.get())) return nullptr;
  return context.release();
}

ScratchBuffer* get_scratch_buffer() {
  ThreadContext* context = get_thread_context();
  if (context == nullptr) return nullptr;
  if (!context->scratch) context->scratch = runtime::make_object<ScratchBuffer>();
  return context->scratch.get();
}

TaskPool* get_task_pool() {
  ThreadContext* context = get_thread_context();
  const std::uint32_t processors = processor_count();
  if (context == nullptr || processors < 2) return nullptr;
  if (context->pool) return context->pool.get();
  OwnedPool pool(runtime::make_object<TaskPool>(static_cast<std::int32_t>(processors - 1)).release());
  if (!pool || !pool->valid()) return nullptr;
  context->pool = std::move(pool);
  return context->pool.get();
}

void release_thread_context() noexcept {
  const std::uint32_t index = slot_index();
  if (index == platform::kTlsOutOfIndexes) return;
  runtime::Owned<ThreadContext> context(look_up_context(index).context);
  const bool cleared = store_context(index, nullptr);
  if (!context) return;
  context->pool.reset();
  context->scratch.reset();
  if (!cleared) static_cast<void>(context.release());
}

}  // namespace kyv::thread
