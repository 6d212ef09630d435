# tessaly_tests(NAME [LIBRARIES lib...] [ENVIRONMENT NAME=value...])
#
# Makes one GoogleTest program of the *Tests.cpp files in the current folder, and registers every test case with ctest in
# a process of its own. LIBRARIES names libraries of ours without their prefix. A folder without such files makes none.

find_package(GTest REQUIRED)
include(GoogleTest)

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
  gtest_discover_tests(${NAME}Tests
    TEST_PREFIX ${NAME}.
    DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS unit ENVIRONMENT "${ARG_ENVIRONMENT}")
endfunction()
