# tessaly_tests(NAME [LIBRARIES lib...] [ENVIRONMENT NAME=value...])
#
# Makes one GoogleTest program of the *Tests.cpp files in the current directory. ctest runs every test case in a process
# of its own. LIBRARIES names libraries of ours without their prefix. A directory without such files makes no program.

find_package(GTest REQUIRED)
include(GoogleTest)
include(TessalyTestEnvironment)

# The headers of GoogleTest are two thirds of the compile time of a test program.
if(TESSALY_PRECOMPILE_TESTS)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/TestHeaders.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "")
  add_library(TessalyTestHeaders OBJECT ${source})
  target_link_libraries(TessalyTestHeaders PRIVATE TessalyFlags GTest::gtest GTest::gmock)
  target_compile_features(TessalyTestHeaders PRIVATE cxx_std_23)
  # For ccache, which stores nothing that was compiled with a header whose time or expansion it does not know.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(TessalyTestHeaders PRIVATE -fpch-preprocess)
  else()
    target_compile_options(TessalyTestHeaders PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
  endif()
  target_precompile_headers(TessalyTestHeaders PRIVATE
    <gmock/gmock.h> <gtest/gtest.h> <atomic> <chrono> <functional> <optional> <string> <thread> <vector>)
endif()

function(tessaly_tests NAME)
  cmake_parse_arguments(ARG "" "" "LIBRARIES;ENVIRONMENT" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*Tests.cpp)
  if(NOT sources)
    message(WARNING "${CMAKE_CURRENT_SOURCE_DIR} has no tests yet")
    return()
  endif()
  add_executable(${NAME}Tests ${sources})
  list(TRANSFORM ARG_LIBRARIES PREPEND Tessaly::)
  target_link_libraries(${NAME}Tests PRIVATE ${ARG_LIBRARIES} TessalyFlags GTest::gtest GTest::gtest_main GTest::gmock)
  if(TESSALY_PRECOMPILE_TESTS)
    target_precompile_headers(${NAME}Tests REUSE_FROM TessalyTestHeaders)
    target_compile_options(${NAME}Tests PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
  endif()
  gtest_discover_tests(${NAME}Tests
    TEST_PREFIX ${NAME}.
    DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS unit)
  if(ARG_ENVIRONMENT)
    tessaly_test_environment(${NAME}Tests ${ARG_ENVIRONMENT})
  endif()
endfunction()
