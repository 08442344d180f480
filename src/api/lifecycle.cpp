#include "api/lifecycle.h"

#include <cstdint>

#include "runtime/debug_print.h"
#include "runtime/object.h"
#include "runtime/start_calls.h"
#include "thread/process_state.h"

namespace kyv::api {
namespace {

using runtime::debug_print;

// Carries no data: that it is there says that the library is initialised.
struct LibraryObject {};

constinit LibraryObject* g_library = nullptr;
constinit std::int32_t g_engine_started = 0;

bool start_static_init() noexcept {
  const std::int32_t status = runtime::start_calls.static_init();
  if (status == runtime::kIppStsNoErr) return true;
  if (status == runtime::kIppStsNonIntelCpu) {
    debug_print("ippStaticInit return ippStsNonIntelCpu. continue...\n");
    return true;
  }
  debug_print("ippStaticInit Error : %d\n", status);
  return false;
}

bool start_single_threaded() noexcept {
  const std::int32_t status = runtime::start_calls.set_num_threads(1);
  if (status == runtime::kIppStsNoErr) return true;
  if (status == runtime::kIppStsNoOperation) {
    debug_print("ippSetNumThreads(1) return ippStsNoOperation. continue...\n");
    return true;
  }
  debug_print("ippSetNumThreads Error : %d\n", status);
  return false;
}

bool start_services() noexcept {
  if (!start_static_init() || !start_single_threaded()) return false;
  thread::read_processor_count();
  return thread::create_thread_slot();
}

void start_engine() noexcept {
  if (start_services())
    g_engine_started = 1;
  else
    thread::release_thread_slot();
}

void stop_engine() noexcept {
  thread::release_thread_slot();
  g_engine_started = 0;
}

}  // namespace

bool initialize() noexcept {
  if (g_library != nullptr) return true;
  g_library = runtime::make_object<LibraryObject>().release();
  if (g_library == nullptr) return false;
  if (g_engine_started == 0) start_engine();
  return true;
}

void terminate() noexcept {
  if (g_library == nullptr) return;
  if (g_engine_started != 0) stop_engine();
  runtime::Owned<LibraryObject>(g_library).reset();
  g_library = nullptr;
}

bool is_initialized() noexcept { return g_library != nullptr; }

bool is_engine_started() noexcept { return g_engine_started != 0; }

}  // namespace kyv::api
