# Build rules shared by every folder: one place for language level, warnings, sanitizers, the runtime
# tree and the way tests are made.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# The runtime tree must work wherever it is copied to, so run paths are relative and final at build time.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)

set(VX_SANITIZE "" CACHE STRING "Sanitizers of our own code, as -fsanitize= takes them")
option(VX_FUZZ "Build the fuzz targets with libFuzzer (needs clang)" OFF)

# The runtime tree: what a user starts, and what is installed.
set(VX_TREE "${CMAKE_BINARY_DIR}/tree")

find_package(Threads REQUIRED)

# Flags without sanitizers: everything of ours.
add_library(vx_flags INTERFACE)
target_compile_options(vx_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(vx_flags INTERFACE -Wthread-safety)
endif()
target_link_libraries(vx_flags INTERFACE Threads::Threads)

# Flags with sanitizers: everything of ours that is not run behind the tool's preload prefix.
add_library(vx_options INTERFACE)
target_link_libraries(vx_options INTERFACE vx_flags)
if(VX_SANITIZE)
  target_compile_options(vx_options INTERFACE
    -fsanitize=${VX_SANITIZE} -fno-omit-frame-pointer -g1
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:VX_IS_TEST>>>:-O1>)
  target_link_options(vx_options INTERFACE -fsanitize=${VX_SANITIZE})
  if(VX_SANITIZE MATCHES "undefined")
    target_compile_options(vx_options INTERFACE -fno-sanitize-recover=undefined)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      target_compile_options(vx_options INTERFACE
        "-fsanitize-ignorelist=${CMAKE_SOURCE_DIR}/cmake/sanitizer-ignore.txt")
    endif()
  endif()
endif()

option(VX_COVERAGE "Count which lines run" OFF)
if(VX_COVERAGE)
  target_compile_options(vx_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(vx_options INTERFACE --coverage)
endif()

# The fuzzers are led by what they reach in the code under test, not in their own file alone.
if(VX_FUZZ)
  target_compile_options(vx_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(vx_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# vx_add_library(NAME folder-sources...): a shared library lib<NAME>.so of the runtime tree, with public
# headers in include/ of the calling folder.
function(vx_add_library name)
  add_library(${name} SHARED ${ARGN})
  target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}/include"
                                     PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/src")
  target_link_libraries(${name} PRIVATE vx_options)
  set_target_properties(${name} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY "${VX_TREE}/lib"
    INSTALL_RPATH "$ORIGIN")
endfunction()

# vx_add_test(NAME SOURCES... [LIBS ...] [LABELS ...] [TIMEOUT seconds]): one GoogleTest program,
# registered with CTest as one test per program. The label "threads" marks what also runs under
# ThreadSanitizer.
function(vx_add_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  find_package(GTest REQUIRED)
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE vx_options ${arg_LIBS} vx_test_support GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  # Tests are what takes longest to compile, and nothing is gained by optimising them.
  target_compile_options(${name} PRIVATE -O0 -g1)
  set_target_properties(${name} PROPERTIES
    VX_IS_TEST ON
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests"
    INSTALL_RPATH "${VX_TREE}/lib")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "${arg_LABELS}" TIMEOUT ${arg_TIMEOUT})
  vx_sanitizer_environment(${name})
  if("threads" IN_LIST arg_LABELS)
    add_dependencies(vx_threaded_tests ${name})
  endif()
endfunction()

# What the label "threads" names, as one target.
add_custom_target(vx_threaded_tests)

# The environment every test runs in: sanitizers stop at the first finding. Memory that is not to be
# had is null there as elsewhere: tests ask for too much of it on purpose.
function(vx_sanitizer_environment test)
  set_property(TEST ${test} APPEND PROPERTY ENVIRONMENT
    "ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:allocator_may_return_null=1"
    "UBSAN_OPTIONS=print_stacktrace=1"
    "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1")
endfunction()
