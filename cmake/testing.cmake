find_package(GTest REQUIRED)
include(GoogleTest)

# A test's own code is compiled often and runs briefly, so it isn't optimised. What it tests keeps the flags of its build.
set(QUILLON_TEST_FLAGS -O0)

# GoogleTest's headers, compiled once for all test programs. That takes a program, because the compiler accepts them only
# for the same kind of target.
set(test_headers "${CMAKE_BINARY_DIR}/generated/test_headers.cpp")
file(CONFIGURE OUTPUT "${test_headers}" CONTENT "int main() {}\n")
add_executable(test_headers EXCLUDE_FROM_ALL "${test_headers}")
target_link_libraries(test_headers PRIVATE GTest::gmock GTest::gtest Threads::Threads)
target_compile_options(test_headers PRIVATE ${QUILLON_TEST_FLAGS})
target_precompile_headers(test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)

# quillon_test(NAME SOURCES ... LIBRARIES ... [LABELS ...])
#
# A test program NAME whose cases ctest lists one by one, each with a bound on its time.
function(quillon_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gmock GTest::gtest GTest::gtest_main Threads::Threads)
  target_compile_options(${name} PRIVATE ${QUILLON_TEST_FLAGS})
  target_precompile_headers(${name} REUSE_FROM test_headers)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 120)
  # More than one label doesn't survive the way through PROPERTIES, which cuts lists into pairs.
  set(labels "${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake")
  file(WRITE "${labels}" "foreach(test IN LISTS ${name}_TESTS)
  set_tests_properties(\"\${test}\" PROPERTIES LABELS \"${ARG_LABELS}\")
endforeach()
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${labels}")
endfunction()

option(QUILLON_LIBFUZZER "Build the fuzz targets with clang's libFuzzer" OFF)

# quillon_fuzz(TARGET TEST LABEL LIBRARY...)
#
# A fuzz target from NAME_fuzz.cpp, NAME being the last word of TEST, with a corpus in corpus/NAME. TEST replays the corpus. With
# clang the target is libFuzzer's, which tools/fuzz builds and runs.
function(quillon_fuzz target test label)
  string(REGEX REPLACE ".*\\." "" name "${test}")
  add_executable(${target} ${name}_fuzz.cpp)
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  target_include_directories(${target} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  target_link_libraries(${target} PRIVATE ${ARGN})
  if(QUILLON_LIBFUZZER)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${target} PRIVATE "${CMAKE_SOURCE_DIR}/tests/class_a/fuzz/replay_main.cpp")
    add_test(NAME ${test} COMMAND ${target} "${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name}")
    set_tests_properties(${test} PROPERTIES LABELS ${label} TIMEOUT 60)
  endif()
endfunction()
