// Runs when the shared library is unloaded. The C++ run-time that is linked into it takes memory at load
// time, to be able to throw when there is none left, and leaves its release to the system at the end of the
// process: a host that loads and unloads the library would lose that much each time.
namespace __gnu_cxx {  // NOLINT(clang-diagnostic-reserved-identifier,readability-identifier-naming)
void __freeres();      // NOLINT(clang-diagnostic-reserved-identifier,readability-identifier-naming)
}

namespace {

__attribute__((destructor)) void release_run_time_memory() { __gnu_cxx::__freeres(); }

}  // namespace
