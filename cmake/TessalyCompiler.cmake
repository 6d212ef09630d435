# Whether the compiler may compile coroutines. Coroutines.hpp admits the versions that pass the probes of tests/compiler.

option(TESSALY_CHECK_COMPILER "Run the probes of coroutines, and admit a compiler that passes them" OFF)

# tessaly_probe(NAME flag...): compiles and runs the probes with these flags. A failure stops the configuration.
function(tessaly_probe NAME)
  file(GLOB sources ${PROJECT_SOURCE_DIR}/tests/compiler/*.cpp)
  try_run(TESSALY_PROBES_${NAME} TESSALY_PROBES_${NAME}_COMPILED
    SOURCES ${sources}
    COMPILE_DEFINITIONS ${ARGN}
    CXX_STANDARD 23 CXX_STANDARD_REQUIRED ON
    COMPILE_OUTPUT_VARIABLE messages
    RUN_OUTPUT_VARIABLE said)
  if(NOT TESSALY_PROBES_${NAME}_COMPILED)
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} does not compile the probes of coroutines:\n${messages}")
  elseif(NOT TESSALY_PROBES_${NAME} EQUAL 0)
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} miscompiles coroutines with \"${ARGN}\". Use clang 19 or g++ 14.\n${said}")
  endif()
endfunction()

if(TESSALY_CHECK_COMPILER)
  tessaly_probe(DEBUG -O0 -foptimize-sibling-calls)
  tessaly_probe(OPTIMIZED -O2)
  message(STATUS "${CMAKE_CXX_COMPILER} passes the probes of coroutines")
endif()

# tessaly_compile_coroutines(TARGET): what the target and its hosts need in order to compile coroutines.
function(tessaly_compile_coroutines TARGET)
  # Without it g++ transfers between coroutines by calls, and a long chain overflows the stack in a build without -O2.
  target_compile_options(${TARGET} PUBLIC $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-foptimize-sibling-calls>)
  if(TESSALY_CHECK_COMPILER)
    target_compile_definitions(${TARGET} PUBLIC TESSALY_COMPILER_PASSES_PROBES)
  endif()
endfunction()
