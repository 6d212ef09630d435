# tessaly_tests(NAME [LIBRARIES lib...] [ENVIRONMENT NAME=value...])
#
# Makes one GoogleTest program of the *Tests.cpp files in the current folder, and registers every test case with ctest in
# a process of its own. LIBRARIES names libraries of ours without their prefix. A folder without such files makes none.

find_package(GTest REQUIRED)
include(GoogleTest)

# The headers of GoogleTest are two thirds of what a test program costs to compile.
if(TESSALY_PRECOMPILE_TESTS)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/TestHeaders.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "")
  add_library(TessalyTestHeaders OBJECT ${source})
  target_link_libraries(TessalyTestHeaders PRIVATE TessalyFlags GTest::gtest GTest::gmock)
  target_compile_features(TessalyTestHeaders PRIVATE cxx_std_23)
  target_compile_options(TessalyTestHeaders PRIVATE "SHELL:-Xclang -fno-pch-timestamp")  # For ccache.
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
  endif()
  gtest_discover_tests(${NAME}Tests
    TEST_PREFIX ${NAME}.
    DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS unit)
  if(ARG_ENVIRONMENT)
    # Not among the properties above: on their way through three scripts a list would lose all but its first element.
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${NAME}TestsEnvironment.cmake)
    file(GENERATE OUTPUT ${script} CONTENT "if(${NAME}Tests_TESTS)
  set_tests_properties(\${${NAME}Tests_TESTS} PROPERTIES ENVIRONMENT [==[${ARG_ENVIRONMENT}]==])
endif()
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
  endif()
endfunction()
