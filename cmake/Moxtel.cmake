# Options of every target of this project, and the functions that create libraries, tests and fuzz targets.

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # ccache caches precompiled headers only if it may ignore their times and macros.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE_PROGRAM})
endif()

add_library(moxtel_options INTERFACE)
target_compile_features(moxtel_options INTERFACE cxx_std_20)
target_include_directories(moxtel_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(moxtel_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wconversion
  -Wno-sign-conversion -Wformat=2 -Wundef -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ 12 has many false positives of this warning in inlined std::string and std::vector code.
  target_compile_options(moxtel_options INTERFACE -Wno-restrict -Wno-maybe-uninitialized -Wno-stringop-overflow
    -Wno-stringop-overread -Wno-array-bounds -Wno-dangling-pointer -Wno-free-nonheap-object
    -Wno-interference-size)
  # ccache needs this option to cache precompiled headers.
  target_compile_options(moxtel_options INTERFACE -fpch-preprocess)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND MOXTEL_SANITIZE MATCHES "thread")
  target_compile_options(moxtel_options INTERFACE -Wno-tsan)
endif()
if(MOXTEL_SANITIZE)
  # The check of vptr opens pipes to look at memory, which confined helpers, and tests without free descriptors, cannot.
  target_compile_options(moxtel_options INTERFACE -fsanitize=${MOXTEL_SANITIZE} -fno-sanitize=vptr
                                                  -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(moxtel_options INTERFACE -fsanitize=${MOXTEL_SANITIZE})
endif()
if(MOXTEL_FUZZERS)
  target_compile_options(moxtel_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(moxtel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# moxtel_library(NAME SOURCES a.cpp … LINKS lib … PRIVATE_LINKS lib …): a static library from one folder of src/.
function(moxtel_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC moxtel_options ${ARG_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
endfunction()

# moxtel_test(FooTest LINKS lib …): builds FooTest.cpp of the current folder and adds its tests to CTest.
# All tests share a precompiled header of GoogleTest, because parsing it is most of a small test's compile time.
function(moxtel_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  if(NOT TARGET moxtel_test_pch)
    file(WRITE ${CMAKE_BINARY_DIR}/moxtel_test_pch.cpp "")
    add_library(moxtel_test_pch OBJECT ${CMAKE_BINARY_DIR}/moxtel_test_pch.cpp)
    target_link_libraries(moxtel_test_pch PRIVATE moxtel_options GTest::gmock)
    target_precompile_headers(moxtel_test_pch PRIVATE <gmock/gmock.h> <gtest/gtest.h> <string> <vector>)
  endif()
  add_executable(${name} ${name}.cpp ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE moxtel_options ${ARG_LINKS} GTest::gmock GTest::gtest_main)
  target_precompile_headers(${name} REUSE_FROM moxtel_test_pch)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  # Some tests take a minute of processor time under ThreadSanitizer, on a machine that may be busy.
  set(seconds 120)
  if(MOXTEL_SANITIZE)
    set(seconds 600)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT ${seconds}
                       PROPERTIES TIMEOUT ${seconds})
endfunction()

# moxtel_window_test(FooTest LINKS lib …): the same for windows, which are drawn into memory. Code that
# uses Qt must be position-independent, and the shared precompiled header is not.
function(moxtel_window_test name)
  moxtel_test(${name} SOURCES ${CMAKE_SOURCE_DIR}/tests/QtMain.cpp ${ARGN})
  set_target_properties(${name} PROPERTIES DISABLE_PRECOMPILE_HEADERS ON)
endfunction()

# moxtel_fuzz(FooFuzz LINKS lib … SEEDS dir): builds a libFuzzer program with clang and MOXTEL_FUZZERS, otherwise
# a program that replays the seeds and old crashes of fuzz/corpus/FooFuzz and fuzz/crashes/FooFuzz under CTest.
function(moxtel_fuzz name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${CMAKE_SOURCE_DIR}/fuzz/${name}.cpp ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE moxtel_options ${ARG_LINKS})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
  if(MOXTEL_FUZZERS)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${name} PRIVATE ${CMAKE_SOURCE_DIR}/fuzz/ReplayMain.cpp)
    add_test(NAME fuzz.replay.${name}
             COMMAND ${name} ${CMAKE_SOURCE_DIR}/fuzz/corpus/${name} ${CMAKE_SOURCE_DIR}/fuzz/crashes/${name})
    set_tests_properties(fuzz.replay.${name} PROPERTIES TIMEOUT 300)
  endif()
endfunction()
