# Shared half of the MinGW toolchain files: they set KYVMATH_MINGW_TRIPLE and include this.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${KYVMATH_MINGW_TRIPLE}-gcc-win32)
set(CMAKE_CXX_COMPILER ${KYVMATH_MINGW_TRIPLE}-g++-win32)
set(CMAKE_RC_COMPILER ${KYVMATH_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${KYVMATH_MINGW_TRIPLE})
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)

# Programs and the DLL carry their run-time: nothing but the system's own libraries is imported.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# One Wine prefix for all build trees: it is large and takes seconds to make.
kyvmath_kept_folder(KYVMATH_WINEPREFIX wine)
set(CMAKE_CROSSCOMPILING_EMULATOR
  "${CMAKE_CURRENT_LIST_DIR}/../wine-run.sh;${KYVMATH_WINEPREFIX}")
