# For the environment of tests with a toolkit, whose threads wait in ways that the thread sanitizer does not see.
set(TESSALY_TOOLKIT_ENVIRONMENT
  TSAN_OPTIONS=halt_on_error=1:ignore_noninstrumented_modules=1:suppressions=${PROJECT_SOURCE_DIR}/scripts/tsan.supp)

# tessaly_test_environment(TARGET NAME=value...): the environment of the tests that gtest_discover_tests finds.
function(tessaly_test_environment TARGET)
  # It is not among the properties there, because the scripts of gtest_discover_tests keep only the first element of a
  # list.
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${TARGET}Environment.cmake)
  file(GENERATE OUTPUT ${script} CONTENT "if(${TARGET}_TESTS)
  set_tests_properties(\${${TARGET}_TESTS} PROPERTIES ENVIRONMENT [==[${ARGN}]==])
endif()
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()
