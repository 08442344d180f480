#include "api/lifecycle.h"

#include <cstdint>
#include <utility>

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

bool start_services() {
  if (!start_static_init() || !start_single_threaded()) return false;
  thread::read_processor_count();
  return thread::create_thread_slot();
}

void start_engine() {
  if (start_services())
    g_engine_started = 1;
  else
    thread::release_thread_slot();
}

void stop_engine() {
  g_engine_started = 0;
  thread::release_thread_slot();
}

}  // namespace

bool initialize() {
  if (g_library != nullptr) return true;
  auto library = runtime::make_object<LibraryObject>();
  if (!library) return false;
  if (g_engine_started == 0) start_engine();
  g_library = library.release();
  return true;
}

void terminate() {
  const runtime::Owned<LibraryObject> library(std::exchange(g_library, nullptr));
  if (library && g_engine_started != 0) stop_engine();
}

bool is_initialized() noexcept { return g_library != nullptr; }

bool is_engine_started() noexcept { return g_engine_started != 0; }

}  // namespace kyv::api
