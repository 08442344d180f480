# kyvmath_kernel_cases: one trial for each kernel and shape of work, for the tests and for the benchmark.
include_guard(GLOBAL)
include(${PROJECT_SOURCE_DIR}/tests/resize/reference.cmake)
set(folder ${PROJECT_SOURCE_DIR}/tests/kernels)
add_library(kyvmath_kernel_cases STATIC EXCLUDE_FROM_ALL
  ${folder}/byte_trials.cpp
  ${folder}/column_trials.cpp
  ${folder}/permuted_trials.cpp
  ${folder}/running_trials.cpp
  ${folder}/shuffled_trials.cpp
  ${folder}/transform_trials.cpp
  ${folder}/transposed_trials.cpp
  ${folder}/trial.cpp
  ${folder}/weight_trials.cpp)
target_link_libraries(kyvmath_kernel_cases PUBLIC kyvmath_reference PRIVATE kyvmath_flags)
# Where presets join sources, these do not go with the others: their constants have the same names.
set_source_files_properties(${folder}/transposed_trials.cpp ${folder}/weight_trials.cpp
  PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
# What is timed are the kernels, not the trials around them.
target_compile_options(kyvmath_kernel_cases PRIVATE -O1)
# g++ 12 sees overlapping copies where a literal and a string are joined in its own library, in 32 bits.
target_compile_options(kyvmath_kernel_cases PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_include_directories(kyvmath_kernel_cases PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
