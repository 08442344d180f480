set(KYVMATH_SANITIZED_SETS "" CACHE STRING "Kernel sets that sanitizers look at; all of them if empty")

# kyvmath_kernel_variants(<target> <folder> [flag...]): adds <folder>/<isa>.cpp, or <isa>_single.cpp and
# <isa>_double.cpp, to the target for every instruction set below that the folder has units of, each compiled for
# its own instruction set. A unit gives away one symbol (its table) and includes no standard-library header with inline functions: see docs/ARCHITECTURE.md.
function(kyvmath_kernel_variants target folder)
  set(sets_x86 scalar sse2 fma avx2 avx512 avx512vbmi)
  if(target STREQUAL kyvmath_objects AND NOT KYVMATH_AVX512)
    list(FILTER sets_x86 EXCLUDE REGEX avx512)
  endif()
  set(sets_arm64 scalar neon)
  set(flags_scalar "")
  set(flags_neon "")  # in every such processor
  set(flags_sse2 -msse2)
  set(flags_avx2 -mavx2 -mfma)
  set(flags_fma ${flags_avx2})
  set(flags_avx512 -mavx512f -mavx512bw -mavx512vl -mavx512dq -mavx2 -mfma -mprefer-vector-width=512)
  set(flags_avx512vbmi ${flags_avx512} -mavx512vbmi)
  foreach(isa ${sets_${KYVMATH_ARCHITECTURE}})
    set(units)
    foreach(part ${isa} ${isa}_single ${isa}_double)
      if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/${part}.cpp)
        list(APPEND units ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/${part}.cpp)
      endif()
    endforeach()
    if(NOT units)
      continue()
    endif()
    set(flags ${flags_${isa}})
    if(WIN32 AND CMAKE_SIZEOF_VOID_P EQUAL 8 AND isa MATCHES "avx|fma")
      list(APPEND flags -Wa,-muse-unaligned-vector-move)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND isa MATCHES avx512)
      # The compiler's own header defines its undefined vectors as themselves, and warns.
      list(APPEND flags -Wno-uninitialized -Wno-maybe-uninitialized)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND KYVMATH_SANITIZE MATCHES undefined)
      # These three take the compiler eight times as long here; the address sanitizer sees what they would. The
      # others take it twice as long: two sets have them, with every pass among them, whose code all share.
      list(APPEND flags -fno-sanitize=null,pointer-overflow,object-size)
      if(NOT isa MATCHES "^(scalar|avx2|neon)$")
        list(APPEND flags -fno-sanitize=undefined)
      endif()
    endif()
    # The kernels are optimised in every build type: a debug or sanitizer build must not take hours.
    # Below -O3 the loops over tiles of vectors stay loops and their vectors live in memory: half the speed.
    # The kernels are vectors already: what the compiler would vectorise are leftovers and the scalar reference.
    # There g++ 12 goes wrong: its vectoriser of straight-line code leaves out the roundings to float in
    # three neighbouring sums of the form a = (double)(float)(a + w * x), in plain C as well.
    list(APPEND flags -O3 -fno-tree-vectorize -fno-tree-slp-vectorize -fno-math-errno -fno-trapping-math -fno-exceptions ${ARGN})
    if(KYVMATH_SANITIZE AND KYVMATH_SANITIZED_SETS AND NOT isa IN_LIST KYVMATH_SANITIZED_SETS)
      list(APPEND flags -fno-sanitize=all -g0 -O0)  # on processors with AVX2 it serves lengths that are too short for it
    endif()
    if(WIN32)
      list(APPEND flags -fipa-ra)  # what a unit calls is its own: see CompilerFlags.cmake
    endif()
    target_sources(${target} PRIVATE ${units})
    set_source_files_properties(${units} TARGET_DIRECTORY ${target} PROPERTIES COMPILE_OPTIONS "${flags}")
  endforeach()
endfunction()
