# What every target of this project has in common, and the three functions that make them.

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Precompiled headers are cached only when ccache need not look at their times and defines.
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
  # What g++ 12 says about std::string and std::vector code that it inlined itself is wrong too often.
  target_compile_options(moxtel_options INTERFACE -Wno-restrict -Wno-maybe-uninitialized -Wno-stringop-overflow
    -Wno-stringop-overread -Wno-array-bounds -Wno-dangling-pointer -Wno-free-nonheap-object
    -Wno-interference-size)
  # Precompiled headers reach ccache only through this.
  target_compile_options(moxtel_options INTERFACE -fpch-preprocess)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND MOXTEL_SANITIZE MATCHES "thread")
  target_compile_options(moxtel_options INTERFACE -Wno-tsan)
endif()
if(MOXTEL_SANITIZE)
  target_compile_options(moxtel_options INTERFACE -fsanitize=${MOXTEL_SANITIZE} -fno-omit-frame-pointer
                                                  -fno-sanitize-recover=all)
  target_link_options(moxtel_options INTERFACE -fsanitize=${MOXTEL_SANITIZE})
endif()
if(MOXTEL_FUZZERS)
  target_compile_options(moxtel_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(moxtel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# moxtel_library(NAME SOURCES a.cpp … LINKS lib … PRIVATE_LINKS lib …): one folder of src/, one static library.
function(moxtel_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC moxtel_options ${ARG_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
endfunction()

# moxtel_test(FooTest LINKS lib …): FooTest.cpp of the current folder becomes a program whose tests CTest lists.
# All share one precompiled header of GoogleTest, whose parsing is most of a small test's compile time.
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
  # Some take ThreadSanitizer a minute of processor time, on a machine that may have other work.
  set(seconds 120)
  if(MOXTEL_SANITIZE)
    set(seconds 600)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT ${seconds}
                       PROPERTIES TIMEOUT ${seconds})
endfunction()

# moxtel_window_test(FooTest LINKS lib …): the same for windows, drawn into memory. Qt's programs are compiled
# as position independent code, which the shared header is not.
function(moxtel_window_test name)
  moxtel_test(${name} SOURCES ${CMAKE_SOURCE_DIR}/tests/QtMain.cpp ${ARGN})
  set_target_properties(${name} PROPERTIES DISABLE_PRECOMPILE_HEADERS ON)
endfunction()

# moxtel_fuzz(FooFuzz LINKS lib … SEEDS dir): with clang and MOXTEL_FUZZERS a libFuzzer program; otherwise a
# program that replays the seeds and old crashes of fuzz/corpus/FooFuzz and fuzz/crashes/FooFuzz, run by CTest.
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
