#include "support/faulty_system.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>

namespace kyv::testing_support {
namespace {

using platform::operating_system;

struct Plan {
  std::atomic<int> calls{0};
  std::atomic<int> first_failure{kForGood};
  std::atomic<int> failures{0};
};

std::array<Plan, static_cast<std::size_t>(Call::kCount)> g_plans;
std::atomic<int> g_allocations{0};
std::atomic<int> g_handles{0};
std::atomic<int> g_slots{0};
std::atomic<std::uint32_t> g_processors{0};
std::atomic<void*> g_last_stored{nullptr};
std::array<std::atomic<platform::Handle>, 64> g_threads;  // the last ones started
std::atomic<int> g_next_thread{0};
std::atomic<void (*)(platform::Handle)> g_before_join{nullptr};
thread_local bool t_injected = false;

Plan& plan_of(Call call) { return g_plans[static_cast<std::size_t>(call)]; }

bool fails(Call call) {
  Plan& plan = plan_of(call);
  const int index = plan.calls.fetch_add(1) - plan.first_failure.load();
  t_injected = index >= 0 && index < plan.failures.load();
  return t_injected;
}

std::uint32_t get_last_error() {
  return t_injected ? FaultySystem::kInjectedError : operating_system.GetLastError();
}

void get_system_info(platform::SystemInfo* info) {
  operating_system.GetSystemInfo(info);
  if (g_processors != 0) info->number_of_processors = g_processors - 1;
}

std::uint32_t tls_alloc() {
  if (fails(Call::kTlsAlloc)) return platform::kTlsOutOfIndexes;
  const std::uint32_t index = operating_system.TlsAlloc();
  if (index != platform::kTlsOutOfIndexes) ++g_slots;
  return index;
}

bool tls_free(std::uint32_t index) {
  const bool freed = operating_system.TlsFree(index);
  if (freed) --g_slots;
  return !fails(Call::kTlsFree) && freed;
}

void* tls_get_value(std::uint32_t index) {
  return fails(Call::kTlsGetValue) ? nullptr : operating_system.TlsGetValue(index);
}

bool tls_set_value(std::uint32_t index, void* value) {
  if (value != nullptr) g_last_stored = value;
  return !fails(Call::kTlsSetValue) && operating_system.TlsSetValue(index, value);
}

platform::Handle counted(platform::Handle handle) {
  if (handle != nullptr) ++g_handles;
  return handle;
}

platform::Handle create_event() {
  return fails(Call::kCreateEvent) ? nullptr : counted(operating_system.CreateEventW());
}

bool set_event(platform::Handle event) {
  const bool set = operating_system.SetEvent(event);
  return !fails(Call::kSetEvent) && set;
}

bool is_thread(platform::Handle handle) {
  return std::any_of(g_threads.begin(), g_threads.end(),
                     [&](const auto& thread) { return thread == handle; });
}

std::uint32_t wait(platform::Handle handle) {
  if (!is_thread(handle))
    return fails(Call::kWait) ? platform::kWaitFailed : operating_system.WaitForSingleObject(handle);
  if (const auto hook = g_before_join.load()) hook(handle);
  const std::uint32_t waited = operating_system.WaitForSingleObject(handle);
  return fails(Call::kJoin) ? platform::kWaitFailed : waited;
}

bool close_handle(platform::Handle handle) {
  for (auto& thread : g_threads) {
    platform::Handle expected = handle;
    thread.compare_exchange_strong(expected, nullptr);
  }
  const bool closed = operating_system.CloseHandle(handle);
  if (closed) --g_handles;
  return !fails(Call::kCloseHandle) && closed;
}

platform::Handle begin_thread(platform::ThreadRoutine routine, void* argument, std::uint32_t* identifier) {
  *identifier = 0xDEAD;
  if (fails(Call::kBeginThread)) return nullptr;
  const platform::Handle thread = counted(operating_system._beginthreadex(routine, argument, identifier));
  g_threads[static_cast<std::size_t>(g_next_thread++) % g_threads.size()] = thread;
  return thread;
}

void* counted_memory(void* memory) {
  if (memory != nullptr) ++g_allocations;
  return memory;
}

void* allocate(std::size_t bytes) {
  return fails(Call::kAllocate) ? nullptr : counted_memory(operating_system.malloc(bytes));
}

void* allocate_zeroed(std::size_t count, std::size_t bytes) {
  return fails(Call::kAllocate) ? nullptr : counted_memory(operating_system.calloc(count, bytes));
}

void release(void* memory) {
  if (memory != nullptr) --g_allocations;
  operating_system.free(memory);
}

}  // namespace

FaultySystem::FaultySystem() {
  fail_nothing();
  g_processors = 0;
  g_allocations = 0;
  g_handles = 0;
  g_slots = 0;
  g_before_join = nullptr;
  platform::services.GetSystemInfo = get_system_info;
  platform::services.GetLastError = get_last_error;
  platform::services.TlsAlloc = tls_alloc;
  platform::services.TlsFree = tls_free;
  platform::services.TlsGetValue = tls_get_value;
  platform::services.TlsSetValue = tls_set_value;
  platform::services.CreateEventW = create_event;
  platform::services.SetEvent = set_event;
  platform::services.WaitForSingleObject = wait;
  platform::services.CloseHandle = close_handle;
  platform::services._beginthreadex = begin_thread;
  platform::services.malloc = allocate;
  platform::services.calloc = allocate_zeroed;
  platform::services.free = release;
}

FaultySystem::~FaultySystem() { platform::services = operating_system; }

void FaultySystem::before_join(void (*hook)(platform::Handle)) { g_before_join = hook; }

void FaultySystem::fail(Call call, int after, int times) {
  Plan& plan = plan_of(call);
  plan.failures = times;
  plan.first_failure = plan.calls + after;
}

void FaultySystem::fail_nothing() {
  for (Plan& plan : g_plans) {
    plan.calls = 0;
    plan.failures = 0;
    plan.first_failure = kForGood;
  }
}

void FaultySystem::set_processor_count(std::uint32_t count) { g_processors = count + 1; }

int FaultySystem::calls(Call call) const { return plan_of(call).calls; }

int FaultySystem::faults(Call call) const {
  const Plan& plan = plan_of(call);
  return std::clamp(plan.calls - plan.first_failure, 0, plan.failures.load());
}

int FaultySystem::live_allocations() const { return g_allocations; }
int FaultySystem::live_handles() const { return g_handles; }
int FaultySystem::live_slots() const { return g_slots; }

void* FaultySystem::last_stored_value() const { return g_last_stored; }

bool FaultySystem::nothing_leaked() const {
  return live_allocations() == 0 && live_handles() == 0 && live_slots() == 0;
}

}  // namespace kyv::testing_support
