# Install rules: the tree that the packages contain. Everything in it finds its neighbours relative to itself,
# so that it works wherever it is unpacked.
include(CMakePackageConfigHelpers)

set(KYVMATH_PACKAGE_DIR ${PROJECT_BINARY_DIR}/package)

# Sub-folders of lib are spelled out: a package has one layout on every distribution.
install(TARGETS KyvMath RUNTIME DESTINATION bin LIBRARY DESTINATION lib ARCHIVE DESTINATION lib)
if(WIN32)
  install(FILES ${PROJECT_BINARY_DIR}/lib/KyvMath.lib DESTINATION lib)
else()
  install(TARGETS KyvMathStatic ARCHIVE DESTINATION lib)
endif()
if(TARGET kyvmath)
  install(TARGETS kyvmath RUNTIME DESTINATION bin)
  if(NOT WIN32)
    install(FILES tools/kyvmath/man/kyvmath.1 DESTINATION share/man/man1)
    install(FILES tools/kyvmath/completion/kyvmath.bash
            DESTINATION share/bash-completion/completions RENAME kyvmath)
  endif()
endif()

install(FILES include/KyvMath.h include/KyvMath.hpp bindings/pascal/KyvMath.pas DESTINATION include)
install(FILES CHANGELOG.md cmake/package/NOTICES.md DESTINATION share/doc/KyvMath OPTIONAL)
install(DIRECTORY docs DESTINATION share/doc/KyvMath PATTERN "__pycache__" EXCLUDE)
install(DIRECTORY examples DESTINATION . PATTERN "__pycache__" EXCLUDE)

configure_file(cmake/package/README.md.in ${KYVMATH_PACKAGE_DIR}/README.md @ONLY)
install(FILES ${KYVMATH_PACKAGE_DIR}/README.md DESTINATION .)

configure_file(cmake/package/KyvMathConfig.cmake.in ${KYVMATH_PACKAGE_DIR}/KyvMathConfig.cmake @ONLY)
write_basic_package_version_file(${KYVMATH_PACKAGE_DIR}/KyvMathConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${KYVMATH_PACKAGE_DIR}/KyvMathConfig.cmake ${KYVMATH_PACKAGE_DIR}/KyvMathConfigVersion.cmake
  DESTINATION lib/cmake/KyvMath)

# What a static link needs besides the archive: the C++ run-time and threads.
set(KYVMATH_PRIVATE_LIBS "")
if(NOT WIN32)
  set(KYVMATH_PRIVATE_LIBS "-lstdc++ -lm -pthread")
endif()
configure_file(cmake/package/KyvMath.pc.in ${KYVMATH_PACKAGE_DIR}/KyvMath.pc @ONLY)
install(FILES ${KYVMATH_PACKAGE_DIR}/KyvMath.pc DESTINATION lib/pkgconfig)
