# Runs the port for one system as vcpkg would, with stand-ins for vcpkg's functions:
#
#   cmake -DPORT_DIR=bindings/vcpkg/kyvmath -DSYSTEM=linux|windows -DBUILT=<build tree> -DOUT=<folder>
#         -P check_vcpkg.cmake
#
# The configuration is real, with the port's options; what it would compile is installed from a tree that is built.
# On windows BUILT is not used, and the packages must lie in dist/.
cmake_minimum_required(VERSION 3.25)

file(READ "${PORT_DIR}/vcpkg.json" manifest)
string(JSON PORT GET "${manifest}" name)
string(JSON VERSION GET "${manifest}" version)
file(READ "${PORT_DIR}/../../../include/KyvMath.h" header)
if(NOT header MATCHES "KYVMATH_VERSION_STRING \"${VERSION}\"")
  message(FATAL_ERROR "vcpkg.json has version ${VERSION}, KyvMath.h another")
endif()

set(CURRENT_PACKAGES_DIR "${OUT}/packages")
file(REMOVE_RECURSE "${OUT}")
if(SYSTEM STREQUAL windows)
  set(VCPKG_TARGET_IS_WINDOWS ON)
  set(VCPKG_TARGET_ARCHITECTURE x86)
endif()

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" SOURCE_PATH OPTIONS)
  run(${CMAKE_COMMAND} --warn-uninitialized -S "${arg_SOURCE_PATH}" -B "${OUT}/configured" ${arg_OPTIONS}
    -DCMAKE_BUILD_TYPE=Release)
  # An option that the project does not know has no type in the cache.
  file(STRINGS "${OUT}/configured/CMakeCache.txt" unknown REGEX "^KYVMATH_[A-Z_]+:UNINITIALIZED=")
  if(unknown)
    message(FATAL_ERROR "the project does not know ${unknown}")
  endif()
endfunction()

function(vcpkg_cmake_install)
  run(${CMAKE_COMMAND} --install "${BUILT}" --prefix "${CURRENT_PACKAGES_DIR}")
  run(${CMAKE_COMMAND} --install "${BUILT}" --prefix "${CURRENT_PACKAGES_DIR}/debug")
  # The port builds without the command-line host.
  file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/bin" "${CURRENT_PACKAGES_DIR}/debug/bin")
endfunction()

function(vcpkg_extract_source_archive variable)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" ARCHIVE "")
  file(ARCHIVE_EXTRACT INPUT "${arg_ARCHIVE}" DESTINATION "${OUT}/extracted")
  file(GLOB top "${OUT}/extracted/*")
  set(${variable} "${top}" PARENT_SCOPE)
endfunction()

function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" FILE_LIST)
  file(INSTALL ${arg_FILE_LIST} DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}" RENAME copyright)
endfunction()

include("${PORT_DIR}/portfile.cmake")

# What vcpkg checks after a build.
if(SYSTEM STREQUAL windows)
  set(libraries bin/KyvMath.dll lib/KyvMath.lib)
else()
  set(libraries lib/libKyvMath.so lib/libKyvMath.a lib/pkgconfig/KyvMath.pc)
endif()
foreach(file IN ITEMS include/KyvMath.h share/kyvmath/copyright share/kyvmath/usage share/kyvmath/KyvMathConfig.cmake
        LISTS libraries)
  if(NOT EXISTS "${CURRENT_PACKAGES_DIR}/${file}")
    message(FATAL_ERROR "the port installs no ${file}")
  endif()
endforeach()
foreach(library IN LISTS libraries)
  if(NOT EXISTS "${CURRENT_PACKAGES_DIR}/debug/${library}")
    message(FATAL_ERROR "the port installs no debug/${library}")
  endif()
endforeach()
file(GLOB top RELATIVE "${CURRENT_PACKAGES_DIR}" "${CURRENT_PACKAGES_DIR}/*" "${CURRENT_PACKAGES_DIR}/debug/*")
list(REMOVE_ITEM top bin debug debug/bin debug/lib include lib share)
if(top)
  message(FATAL_ERROR "these do not belong into a port: ${top}")
endif()

if(NOT SYSTEM STREQUAL windows)
  file(COPY "${PORT_DIR}/../../conan/test_package/" DESTINATION "${OUT}/client")
  run(${CMAKE_COMMAND} -S "${OUT}/client" -B "${OUT}/client/build"
    "-DKyvMath_DIR=${CURRENT_PACKAGES_DIR}/share/kyvmath")
  run(${CMAKE_COMMAND} --build "${OUT}/client/build")
  run("${OUT}/client/build/test_package")
endif()
message(STATUS "the port works for ${SYSTEM}, as far as stand-ins can tell")
