// The two calls that start the numeric run-time. Start-up makes them through a table, so that a test can
// let them answer what they answer on no processor of ours.
#pragma once

#include <cstdint>

namespace kyv::runtime {

inline constexpr std::int32_t kIppStsNoErr = 0;
inline constexpr std::int32_t kIppStsNoOperation = 1;
inline constexpr std::int32_t kIppStsNonIntelCpu = 20;
inline constexpr std::int32_t kIppStsNotSupportedCpu = -1;

// Chooses the kernels for this processor. 0, or kIppStsNotSupportedCpu when it lacks what every unit of
// this build is compiled for.
std::int32_t ippStaticInit() noexcept;

// The image primitives run on the thread that calls them: 1 is what they have (0), and any other count
// changes nothing (kIppStsNoOperation).
std::int32_t ippSetNumThreads(std::int32_t threads) noexcept;

struct StartCalls {
  std::int32_t (*static_init)() noexcept;
  std::int32_t (*set_num_threads)(std::int32_t threads) noexcept;
};

extern StartCalls start_calls;

}  // namespace kyv::runtime
