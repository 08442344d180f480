# kyvmath_add_shared_library(<target> [OUTPUT_SUBDIRECTORY <name>]): the shared library over the library's
# objects, exporting the eight functions by their plain names and nothing else.
#
# bin/KyvMath.dll, lib/libKyvMath.dll.a (GNU linkers), lib/KyvMath.lib (MSVC-style linkers); on Linux
# lib/libKyvMath.so, a link to libKyvMath.so.<version>. Two builds of the same sources give the same bytes,
# wherever they were built.
function(kyvmath_add_shared_library target)
  set(api ${PROJECT_SOURCE_DIR}/src/api)
  cmake_parse_arguments(arg "" "OUTPUT_SUBDIRECTORY" "" ${ARGN})
  set(out ${PROJECT_BINARY_DIR})
  if(arg_OUTPUT_SUBDIRECTORY)
    set(out ${out}/${arg_OUTPUT_SUBDIRECTORY})
  endif()

  add_library(${target} SHARED $<TARGET_OBJECTS:kyvmath_objects>)
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME KyvMath
    RUNTIME_OUTPUT_DIRECTORY ${out}/bin
    LIBRARY_OUTPUT_DIRECTORY ${out}/lib
    ARCHIVE_OUTPUT_DIRECTORY ${out}/lib)
  target_include_directories(${target} INTERFACE ${PROJECT_SOURCE_DIR}/include)

  target_sources(${target} PRIVATE ${api}/unload.cpp)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${target} PRIVATE kyvmath_flags)
  if(NOT KYVMATH_SANITIZE)
    # Only with a C++ run-time of its own.
    target_sources(${target} PRIVATE ${api}/unload_run_time.cpp)
  endif()
  if(WIN32)
    kyvmath_link_dll(${target} ${out})
  else()
    set(exports ${api}/exports.map)
    target_link_libraries(${target} PRIVATE Threads::Threads)
    target_link_options(${target} PRIVATE
      -Wl,--version-script=${exports} -Wl,--no-undefined-version -Wl,--exclude-libs,ALL)
    set_target_properties(${target} PROPERTIES
      LINK_DEPENDS ${exports}
      VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR})
    if(NOT KYVMATH_SANITIZE)
      target_link_options(${target} PRIVATE -Wl,-z,defs -static-libgcc -static-libstdc++)
    endif()
  endif()
endfunction()

function(kyvmath_link_dll target out)
  set(api ${PROJECT_SOURCE_DIR}/src/api)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(exports ${api}/exports_i686.def)
    set(machine i386)
    set(base 0x6B760000)
  else()
    set(exports ${api}/exports_x64.def)
    set(machine i386:x86-64)
    set(base 0x36B760000)
  endif()

  target_sources(${target} PRIVATE ${PROJECT_BINARY_DIR}/generated/version.rc)
  target_link_options(${target} PRIVATE
    # The linker would otherwise derive the preferred base from the output path.
    ${exports} -Wl,--image-base,${base} -Wl,--kill-at -Wl,--no-insert-timestamp -Wl,--exclude-all-symbols
    -Wl,--dynamicbase -Wl,--nxcompat)
  set_target_properties(${target} PROPERTIES
    PREFIX "" IMPORT_PREFIX "lib" IMPORT_SUFFIX ".dll.a"
    LINK_DEPENDS ${exports})

  # Clients of a __stdcall function ask for its decorated name; the linker's own import library lacks it.
  find_program(KYVMATH_DLLTOOL ${KYVMATH_MINGW_TRIPLE}-dlltool REQUIRED)
  find_program(KYVMATH_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 llvm-dlltool-16)
  add_custom_command(TARGET ${target} POST_BUILD
    # The prefix names the members, which would otherwise be named after the output path.
    COMMAND ${KYVMATH_DLLTOOL} -k -t KyvMath -d ${exports} -D KyvMath.dll -l libKyvMath.dll.a
    WORKING_DIRECTORY ${out}/lib
    VERBATIM)
  if(KYVMATH_LLVM_DLLTOOL)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${KYVMATH_LLVM_DLLTOOL} -m ${machine} -k -d ${exports} -D KyvMath.dll -l ${out}/lib/KyvMath.lib
      BYPRODUCTS ${out}/lib/KyvMath.lib
      VERBATIM)
  endif()
endfunction()

if(WIN32)
  configure_file(${PROJECT_SOURCE_DIR}/src/api/version.rc.in ${PROJECT_BINARY_DIR}/generated/version.rc @ONLY)
endif()
