// The floating-point environment of this thread, whole, and those that hosts might leave. Each architecture
// has a type FloatingPointState, compared by what a library must not change, and the functions
//   read_floating_point, write_floating_point
//   host_environments       names and states, the last of which is everything at once: hostile_floating_point
//   is_default              whether the library may compute in a state
#pragma once

#ifdef __aarch64__
#include "support/floating_point_state_arm64.h"
#else
#include "support/floating_point_state_x86.h"
#endif
