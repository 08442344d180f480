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

set(CMAKE_FIND_ROOT_PATH /usr/${KYVMATH_ARM64_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The first processor of the architecture: what it lacks, no program may use.
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-aarch64;-cpu;cortex-a53;-L;/usr/${KYVMATH_ARM64_TRIPLE}")
