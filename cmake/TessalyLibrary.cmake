# The functions that make the libraries of Tessaly. Each directory calls tessaly_library() once.

include(GNUInstallDirs)

add_library(TessalyFlags INTERFACE)
target_compile_features(TessalyFlags INTERFACE cxx_std_23)
target_compile_options(TessalyFlags INTERFACE -Wall -Wextra -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
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

set_property(GLOBAL PROPERTY TESSALY_LIBRARIES "")

# tessaly_backend(NAME SOURCES file... [LIBRARIES library...] [PACKAGES package...])
#
# Adds sources of the current system to the library NAME. The sources define the accessor of the library's system
# backend. LIBRARIES and PACKAGES are those that the sources need. Call it before the library is made.
function(tessaly_backend NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;PACKAGES" ${ARGN})
  list(TRANSFORM ARG_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
  foreach(kind IN ITEMS SOURCES LIBRARIES PACKAGES)
    set_property(GLOBAL PROPERTY TESSALY_BACKEND_${kind}_${NAME} "${ARG_${kind}}")
  endforeach()
endfunction()

# tessaly_library(NAME [SOURCES file...] [PUBLIC library...] [PRIVATE library...] [PACKAGES package...]
#                 [CLASSES class...])
#
# Makes the target Tessaly<NAME>, known as Tessaly::<NAME> inside and outside. Without SOURCES it is header-only. PUBLIC
# and PRIVATE name libraries of ours without their prefix, which must exist already. PACKAGES are those of
# TessalyDependencies.cmake. If a package is missing, no target is made. That is an error only if the host requested the
# library. CLASSES are the classes that `Object::make` finds by a function of the library, such as Tessaly_Backing.
function(tessaly_library NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE;PACKAGES;CLASSES" ${ARGN})
  get_property(backend_sources GLOBAL PROPERTY TESSALY_BACKEND_SOURCES_${NAME})
  get_property(backend_libraries GLOBAL PROPERTY TESSALY_BACKEND_LIBRARIES_${NAME})
  get_property(backend_packages GLOBAL PROPERTY TESSALY_BACKEND_PACKAGES_${NAME})
  list(APPEND ARG_SOURCES ${backend_sources})
  list(APPEND ARG_PRIVATE ${backend_libraries})
  list(APPEND ARG_PACKAGES ${backend_packages})
  list(REMOVE_DUPLICATES ARG_PACKAGES)

  foreach(package IN LISTS ARG_PACKAGES)
    tessaly_find_package(${package})
    if(NOT TARGET PkgConfig::Tessaly_${package})
      tessaly_leave_out(${NAME} "pkg-config does not know ${tessaly_package_${package}}")
      return()
    endif()
  endforeach()
  foreach(library IN LISTS ARG_PUBLIC ARG_PRIVATE)
    tessaly_make(${library})
    if(NOT TARGET Tessaly::${library})
      tessaly_leave_out(${NAME} "it stands on ${library}")
      return()
    endif()
  endforeach()

  set(target Tessaly${NAME})
  if(ARG_SOURCES)
    add_library(${target} ${ARG_SOURCES})
    set(scope PUBLIC)
    tessaly_set_up_objects(${target})
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  add_library(Tessaly::${NAME} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${NAME})
  target_compile_features(${target} ${scope} cxx_std_23)
  target_include_directories(${target} ${scope}
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  list(TRANSFORM ARG_PUBLIC PREPEND Tessaly:: OUTPUT_VARIABLE public)
  target_link_libraries(${target} ${scope} ${public})
  list(TRANSFORM ARG_PRIVATE PREPEND Tessaly:: OUTPUT_VARIABLE private)
  if(private)
    target_link_libraries(${target} PRIVATE ${private})
  endif()
  if(NOT BUILD_SHARED_LIBS)  # The linker hides the functions of a program.
    list(TRANSFORM ARG_CLASSES PREPEND LINKER:--export-dynamic-symbol=tessaly_register_)
    target_link_options(${target} INTERFACE ${ARG_CLASSES})
  endif()
  foreach(package IN LISTS ARG_PACKAGES)
    if(package IN_LIST tessaly_header_packages)
      target_include_directories(${target} SYSTEM PRIVATE
        $<TARGET_PROPERTY:PkgConfig::Tessaly_${package},INTERFACE_INCLUDE_DIRECTORIES>)
      target_compile_options(${target} PRIVATE
        $<TARGET_PROPERTY:PkgConfig::Tessaly_${package},INTERFACE_COMPILE_OPTIONS>)
    else()
      target_link_libraries(${target} PRIVATE PkgConfig::Tessaly_${package})
    endif()
  endforeach()

  list(REMOVE_ITEM ARG_PACKAGES ${tessaly_header_packages})
  set_property(GLOBAL APPEND PROPERTY TESSALY_LIBRARIES ${NAME})
  set_property(GLOBAL PROPERTY TESSALY_PUBLIC_${NAME} "${ARG_PUBLIC}")
  set_property(GLOBAL PROPERTY TESSALY_PRIVATE_${NAME} "${ARG_PRIVATE}")
  set_property(GLOBAL PROPERTY TESSALY_PACKAGES_${NAME} "${ARG_PACKAGES}")
endfunction()

# Sets the options by which a library with sources is compiled and linked.
function(tessaly_set_up_objects target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:TessalyFlags>)
  target_link_options(${target} PRIVATE LINKER:-z,nodelete LINKER:--as-needed)
  if(NOT TESSALY_SANITIZE)  # The program defines the functions of the sanitizers.
    target_link_options(${target} PRIVATE LINKER:-z,defs)
  endif()
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    DEFINE_SYMBOL ""
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
endfunction()

# Omits a library. That is an error if TESSALY_COMPONENTS or the top-level project requests the library.
function(tessaly_leave_out NAME why)
  if(TESSALY_COMPONENTS OR PROJECT_IS_TOP_LEVEL)
    message(FATAL_ERROR "Tessaly::${NAME} cannot be built: ${why}. TESSALY_COMPONENTS names the libraries to build.")
  endif()
  message(STATUS "Tessaly::${NAME} is left out: ${why}")
endfunction()
