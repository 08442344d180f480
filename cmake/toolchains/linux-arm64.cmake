# 64-bit ARM Linux from another Linux. Debian's cross compiler excludes its 32-bit x86 one; clang compiles for every
# architecture, with the other one's binutils and run-time libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(KYVMATH_ARM64_TRIPLE aarch64-linux-gnu)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${KYVMATH_ARM64_TRIPLE})
set(CMAKE_CXX_COMPILER_TARGET ${KYVMATH_ARM64_TRIPLE})
foreach(tool AR RANLIB NM OBJDUMP OBJCOPY STRIP READELF)
  string(TOLOWER ${tool} name)
  set(CMAKE_${tool} /usr/bin/${KYVMATH_ARM64_TRIPLE}-${name} CACHE FILEPATH "")
endforeach()

# What the command-line host links with: unpacked once, by cmake/arm64-sysroot.sh. Without it there is no host.
if(DEFINED ENV{KYVMATH_ARM64_SYSROOT})
  set(KYVMATH_ARM64_SYSROOT "$ENV{KYVMATH_ARM64_SYSROOT}")
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(KYVMATH_ARM64_SYSROOT "$ENV{XDG_CACHE_HOME}/kyvmath/arm64")
else()
  set(KYVMATH_ARM64_SYSROOT "$ENV{HOME}/.cache/kyvmath/arm64")
endif()
set(KYVMATH_ARM64_LIBRARIES ${KYVMATH_ARM64_SYSROOT}/usr/lib/${KYVMATH_ARM64_TRIPLE})
if(NOT EXISTS ${KYVMATH_ARM64_LIBRARIES})
  set(KYVMATH_BUILD_TOOLS OFF CACHE BOOL "Build the command-line host")
endif()
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${KYVMATH_ARM64_LIBRARIES}")

set(CMAKE_FIND_ROOT_PATH /usr/${KYVMATH_ARM64_TRIPLE} ${KYVMATH_ARM64_SYSROOT}/usr)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The first processor of the architecture: what it lacks, no program may use.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -cpu cortex-a53 -L /usr/${KYVMATH_ARM64_TRIPLE}
  -E LD_LIBRARY_PATH=${KYVMATH_ARM64_LIBRARIES})
