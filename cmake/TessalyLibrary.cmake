# How every library of Tessaly is made: one call per subsystem or seam.

include(GNUInstallDirs)

add_library(TessalyFlags INTERFACE)
target_compile_features(TessalyFlags INTERFACE cxx_std_23)
target_compile_options(TessalyFlags INTERFACE -Wall -Wextra -fno-plt -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(TessalyFlags INTERFACE -Wthread-safety)
endif()
if(TESSALY_SANITIZE STREQUAL "address")
  set(tessaly_sanitizers address,undefined)
elseif(TESSALY_SANITIZE STREQUAL "thread")
  set(tessaly_sanitizers thread)
endif()
if(TESSALY_SANITIZE)
  target_compile_options(TessalyFlags INTERFACE
    -fsanitize=${tessaly_sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(TessalyFlags INTERFACE -fsanitize=${tessaly_sanitizers})
endif()
find_program(TESSALY_LLD ld.lld-19)
if(TESSALY_LLD AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_link_options(TessalyFlags INTERFACE -fuse-ld=lld)
endif()

# tessaly_library(NAME [SOURCES file...] [PUBLIC lib...] [PRIVATE lib...] [FOLDERS folder...])
#
# Makes the target Tessaly<NAME>, known as Tessaly::<NAME> inside and outside. Without SOURCES it is header-only.
# PUBLIC names other libraries of ours without their prefix; PRIVATE names anything. The headers of the current folder
# are installed with it.
set_property(GLOBAL PROPERTY TESSALY_LIBRARIES "")
function(tessaly_library NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  set(target Tessaly${NAME})
  if(ARG_SOURCES)
    add_library(${target} ${ARG_SOURCES})
    set(scope PUBLIC)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:TessalyFlags> ${ARG_PRIVATE})
    target_link_options(${target} PRIVATE LINKER:-z,nodelete LINKER:--as-needed)
    set_target_properties(${target} PROPERTIES
      VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR}
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON
      POSITION_INDEPENDENT_CODE ON)
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  add_library(Tessaly::${NAME} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${NAME})
  target_compile_features(${target} ${scope} cxx_std_23)
  target_include_directories(${target} ${scope}
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  foreach(library IN LISTS ARG_PUBLIC)
    target_link_libraries(${target} ${scope} Tessaly::${library})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY TESSALY_LIBRARIES ${NAME})
  set_property(GLOBAL PROPERTY TESSALY_PUBLIC_${NAME} "${ARG_PUBLIC}")
endfunction()
