# kyvmath_reference: the plain resize that tests, fuzzers and benchmarks hold the library against.
include_guard(GLOBAL)
add_library(kyvmath_reference STATIC EXCLUDE_FROM_ALL ${PROJECT_SOURCE_DIR}/tests/resize/reference.cpp)
target_link_libraries(kyvmath_reference PRIVATE kyvmath_flags)
target_compile_options(kyvmath_reference PRIVATE -O3)  # most of the time of tests is its
target_include_directories(kyvmath_reference PUBLIC ${PROJECT_SOURCE_DIR}/tests)
