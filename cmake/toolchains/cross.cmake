# What the toolchain files share.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# kyvmath_kept_folder(<variable> <name>): sets the variable to a folder that outlives build trees: what the
# environment's variable of the same name says, or else a folder in the user's cache.
macro(kyvmath_kept_folder variable name)
  if(DEFINED ENV{${variable}})
    set(${variable} "$ENV{${variable}}")
  elseif(DEFINED ENV{XDG_CACHE_HOME})
    set(${variable} "$ENV{XDG_CACHE_HOME}/kyvmath/${name}")
  else()
    set(${variable} "$ENV{HOME}/.cache/kyvmath/${name}")
  endif()
endmacro()
