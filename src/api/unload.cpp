// Runs when the shared library is unloaded: what a host leaves behind that did not shut it down is given
// back, above all the thread-local slot, of which a process has only about a thousand.
#include "api/lifecycle.h"

namespace {

__attribute__((destructor)) void shut_down() { kyv::api::terminate(); }

}  // namespace
