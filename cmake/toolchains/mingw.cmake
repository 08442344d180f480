# Shared half of the MinGW toolchain files: they set KYVMATH_MINGW_TRIPLE and include this.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${KYVMATH_MINGW_TRIPLE}-gcc-win32)
set(CMAKE_CXX_COMPILER ${KYVMATH_MINGW_TRIPLE}-g++-win32)
set(CMAKE_RC_COMPILER ${KYVMATH_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${KYVMATH_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs and the DLL carry their run-time: nothing but the system's own libraries is imported.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# One Wine prefix for all build trees: it is large and takes seconds to make.
if(DEFINED ENV{KYVMATH_WINEPREFIX})
  set(KYVMATH_WINEPREFIX "$ENV{KYVMATH_WINEPREFIX}")
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(KYVMATH_WINEPREFIX "$ENV{XDG_CACHE_HOME}/kyvmath/wine")
else()
  set(KYVMATH_WINEPREFIX "$ENV{HOME}/.cache/kyvmath/wine")
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR
  "${CMAKE_CURRENT_LIST_DIR}/../wine-run.sh;${KYVMATH_WINEPREFIX}")
