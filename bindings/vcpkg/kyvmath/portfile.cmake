# An overlay port: it serves the tree that it lies in. For a registry, the two places marked RELEASE take a published
# archive instead (vcpkg_download_distfile with its SHA512), and "license" in vcpkg.json gets the chosen licence.
get_filename_component(KYVMATH_TREE "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

if(VCPKG_TARGET_IS_WINDOWS)
  # The library is compiled with MinGW. Any other compiler links the packaged one, debug builds too: nothing of a
  # compiler's run-time crosses its interface.
  if(VCPKG_TARGET_ARCHITECTURE STREQUAL "x86")
    set(KYVMATH_PLATFORM win32)
  else()
    set(KYVMATH_PLATFORM win64)
  endif()
  set(KYVMATH_ARCHIVE "${KYVMATH_TREE}/dist/KyvMath-${VERSION}-${KYVMATH_PLATFORM}.zip") # RELEASE
  if(NOT EXISTS "${KYVMATH_ARCHIVE}")
    message(FATAL_ERROR "${KYVMATH_ARCHIVE} is not there: ./dev package makes it")
  endif()
  vcpkg_extract_source_archive(KYVMATH_PACKAGE ARCHIVE "${KYVMATH_ARCHIVE}")

  if(VCPKG_TARGET_IS_MINGW)
    set(KYVMATH_IMPORT_LIBRARY libKyvMath.dll.a)
  else()
    set(KYVMATH_IMPORT_LIBRARY KyvMath.lib)
  endif()
  file(INSTALL "${KYVMATH_PACKAGE}/include" DESTINATION "${CURRENT_PACKAGES_DIR}")
  foreach(configuration IN ITEMS "" "/debug")
    file(INSTALL "${KYVMATH_PACKAGE}/bin/KyvMath.dll" DESTINATION "${CURRENT_PACKAGES_DIR}${configuration}/bin")
    file(INSTALL "${KYVMATH_PACKAGE}/lib/${KYVMATH_IMPORT_LIBRARY}"
         DESTINATION "${CURRENT_PACKAGES_DIR}${configuration}/lib")
  endforeach()
  set(VCPKG_POLICY_ONLY_RELEASE_CRT enabled)
  set(KYVMATH_CMAKE_FILES "${KYVMATH_PACKAGE}/lib/cmake/KyvMath")
  set(KYVMATH_NOTICES "${KYVMATH_PACKAGE}/share/doc/KyvMath/NOTICES.md")
else()
  vcpkg_cmake_configure(
    SOURCE_PATH "${KYVMATH_TREE}" # RELEASE
    OPTIONS
      -DKYVMATH_BUILD_TESTS=OFF -DKYVMATH_BUILD_BENCHMARKS=OFF -DKYVMATH_BUILD_TOOLS=OFF
      -DKYVMATH_WERROR=OFF)
  # Shared and static library come together, as KyvMath::KyvMath and KyvMath::KyvMathStatic.
  vcpkg_cmake_install()
  file(COPY "${CURRENT_PACKAGES_DIR}/lib/cmake/KyvMath" DESTINATION "${CURRENT_PACKAGES_DIR}/tmp")
  set(KYVMATH_CMAKE_FILES "${CURRENT_PACKAGES_DIR}/tmp/KyvMath")
  set(KYVMATH_NOTICES "${KYVMATH_TREE}/cmake/package/NOTICES.md")
  foreach(configuration IN ITEMS "" "/debug")
    file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}${configuration}/lib/cmake")
  endforeach()
  file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share"
       "${CURRENT_PACKAGES_DIR}/share" "${CURRENT_PACKAGES_DIR}/examples" "${CURRENT_PACKAGES_DIR}/debug/examples")
  file(REMOVE "${CURRENT_PACKAGES_DIR}/README.md" "${CURRENT_PACKAGES_DIR}/debug/README.md")
endif()

# The package's own CMake files find the root three folders up, in lib/cmake/KyvMath; here they lie two below it.
foreach(name IN ITEMS KyvMathConfig.cmake KyvMathConfigVersion.cmake)
  file(READ "${KYVMATH_CMAKE_FILES}/${name}" content)
  string(REPLACE "\${CMAKE_CURRENT_LIST_DIR}/../../.." "\${CMAKE_CURRENT_LIST_DIR}/../.." content "${content}")
  file(WRITE "${CURRENT_PACKAGES_DIR}/share/${PORT}/${name}" "${content}")
endforeach()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/tmp")

file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${KYVMATH_NOTICES}")
