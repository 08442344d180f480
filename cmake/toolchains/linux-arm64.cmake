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

include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)

# What the command-line host links with: unpacked once, by cmake/arm64-sysroot.sh. Without it there is no host.
kyvmath_kept_folder(KYVMATH_ARM64_SYSROOT arm64)
set(CMAKE_FIND_ROOT_PATH /usr/${KYVMATH_ARM64_TRIPLE} ${KYVMATH_ARM64_SYSROOT}/usr)
set(KYVMATH_ARM64_LIBRARIES ${KYVMATH_ARM64_SYSROOT}/usr/lib/${KYVMATH_ARM64_TRIPLE})
if(NOT EXISTS ${KYVMATH_ARM64_LIBRARIES})
  set(KYVMATH_BUILD_TOOLS OFF CACHE BOOL "Build the command-line host")
endif()
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${KYVMATH_ARM64_LIBRARIES}")

# The first processor of the architecture: what it lacks, no program may use.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -cpu cortex-a53 -L /usr/${KYVMATH_ARM64_TRIPLE}
  -E LD_LIBRARY_PATH=${KYVMATH_ARM64_LIBRARIES})
