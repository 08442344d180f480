# Flags that every object of ours is compiled with, as the interface target kyvmath_flags.
# Exactness rests on two of them: no contraction of a*b+c, and SSE (not x87) arithmetic on i686.

# Of the processors that this build is for: sources and kernels are chosen by it.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
  set(KYVMATH_ARCHITECTURE arm64)
else()
  set(KYVMATH_ARCHITECTURE x86)
endif()

add_library(kyvmath_flags INTERFACE)
target_compile_options(kyvmath_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  -ffp-contract=off
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${PROJECT_BINARY_DIR}/=")

if(WIN32)
  # For Windows g++ takes it that a call of an inline function reaches the copy in the same unit, and keeps values
  # in registers that this copy leaves alone. The linker keeps one copy of all, maybe one of a unit with other
  # flags, which does not. (ELF's copies are weak symbols, of which g++ assumes nothing.)
  add_compile_options(-fno-ipa-ra)
endif()

option(KYVMATH_WERROR "Treat warnings as errors" ON)
if(KYVMATH_WERROR)
  target_compile_options(kyvmath_flags INTERFACE -Werror)
endif()

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_options(kyvmath_flags INTERFACE -msse2 -mfpmath=sse -mstackrealign)
endif()

set(KYVMATH_SANITIZE "" CACHE STRING "Sanitizers for every object and program, as -fsanitize= takes them")
if(KYVMATH_SANITIZE)
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_FLAGS -fsanitize=${KYVMATH_SANITIZE})
  check_cxx_source_compiles("int main() {}" kyvmath_has_sanitizers)
  unset(CMAKE_REQUIRED_FLAGS)
  if(NOT kyvmath_has_sanitizers)
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} cannot link with -fsanitize=${KYVMATH_SANITIZE} "
                        "(Debian: libclang-rt-dev)")
  endif()
  add_compile_options(-fsanitize=${KYVMATH_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KYVMATH_SANITIZE})
endif()
