// Start-up and shut-down. Not to overlap with each other or with any other call of the library.
#pragma once

namespace kyv::api {

// False when the library object could not be allocated. True otherwise, also when the numeric run-time
// could not be started: the library is then initialised but not started, and stays so until terminate().
bool initialize();
void terminate();

bool is_initialized() noexcept;
bool is_engine_started() noexcept;

}  // namespace kyv::api
