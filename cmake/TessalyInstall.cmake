# The files of `cmake --install`: the libraries, their headers, and the files by which CMake and pkg-config find them.
# Each library is a component of find_package(Tessaly COMPONENTS ...), and has a pkg-config file.

if(NOT TESSALY_INSTALL)
  return()
endif()
include(CMakePackageConfigHelpers)

set(cmake_directory ${CMAKE_INSTALL_LIBDIR}/cmake/Tessaly)
get_property(libraries GLOBAL PROPERTY TESSALY_LIBRARIES)
list(SORT libraries)

# tessaly_installed_headers(VARIABLE): the public headers, and the headers in detail/ that public headers include.
function(tessaly_installed_headers VARIABLE)
  file(GLOB_RECURSE pending CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} Tessaly/*.hpp)
  list(FILTER pending EXCLUDE REGEX "^Tessaly/Platform/${CMAKE_SYSTEM_NAME}/|/detail/")
  file(GLOB_RECURSE adapters CONFIGURE_DEPENDS Adapters/*.hpp)
  set(found ${pending})
  while(pending OR adapters)
    set(included "")
    foreach(header IN LISTS pending adapters)
      file(STRINGS ${header} lines REGEX "^#include \"Tessaly/.*/detail/")
      list(TRANSFORM lines REPLACE "^#include \"(.*)\".*" "\\1")
      list(APPEND included ${lines})
    endforeach()
    list(FILTER included EXCLUDE REGEX "^Tessaly/Adapters/")
    list(REMOVE_DUPLICATES included)
    list(REMOVE_ITEM included ${found})
    set(adapters "")
    set(pending ${included})
    list(APPEND found ${included})
  endwhile()
  set(${VARIABLE} ${found} PARENT_SCOPE)
endfunction()

tessaly_installed_headers(headers)
foreach(header IN LISTS headers)
  get_filename_component(directory ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${directory})
endforeach()
install(FILES LICENSE TYPE DOC)

# tessaly_pkgconfig_names(VARIABLE NAME...): the names of these libraries for pkg-config, such as
# "tessaly-foundation-extensions".
function(tessaly_pkgconfig_names VARIABLE)
  set(names ${ARGN})
  list(TRANSFORM names PREPEND tessaly-)
  list(TRANSFORM names REPLACE "([a-z])([A-Z])" "\\1-\\2")
  list(TRANSFORM names TOLOWER)
  list(TRANSFORM names REPLACE "^tessaly-tessaly$" "tessaly")
  set(${VARIABLE} ${names} PARENT_SCOPE)
endfunction()

# tessaly_pkgconfig(NAME): the pkg-config file of one library. Its paths are relative, so a host may move the
# installation.
function(tessaly_pkgconfig NAME)
  tessaly_pkgconfig_names(file ${NAME})
  get_property(public GLOBAL PROPERTY TESSALY_PUBLIC_${NAME})
  get_property(host_packages GLOBAL PROPERTY TESSALY_HOST_PACKAGES_${NAME})
  tessaly_pkgconfig_names(public ${public})
  set(REQUIRES ${public} ${host_packages})
  get_target_property(kind Tessaly${NAME} TYPE)
  if(kind STREQUAL "STATIC_LIBRARY")  # Such a library hands on all that it stands on.
    get_property(private GLOBAL PROPERTY TESSALY_PRIVATE_${NAME})
    tessaly_pkgconfig_names(private ${private})
    get_property(packages GLOBAL PROPERTY TESSALY_PACKAGES_${NAME})
    foreach(package IN LISTS packages)
      list(APPEND private ${tessaly_package_${package}})
    endforeach()
    list(APPEND REQUIRES ${private})
  endif()
  list(TRANSFORM REQUIRES REPLACE ">=" " >= ")
  list(JOIN REQUIRES ", " REQUIRES)
  if(NOT kind STREQUAL "INTERFACE_LIBRARY")
    set(LIBS "-L\${libdir} -lTessaly${NAME}")
    get_target_property(options Tessaly${NAME} INTERFACE_LINK_OPTIONS)
    if(options)
      # Options behind a library would make pkg-config repeat the next library.
      list(JOIN options " " options)
      string(REPLACE "LINKER:" "-Wl," options "${options}")
      string(PREPEND LIBS "${options} ")
    endif()
  endif()
  if(NAME STREQUAL "Tasks")
    set(CFLAGS " -foptimize-sibling-calls")  # See TessalyCompiler.cmake. clang knows the option, too.
    if(TESSALY_CHECK_COMPILER)
      string(APPEND CFLAGS " -DTESSALY_COMPILER_PASSES_PROBES")
    endif()
  endif()
  file(RELATIVE_PATH PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig/. ${CMAKE_INSTALL_PREFIX}/.)
  configure_file(cmake/tessaly.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${file}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${file}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

# A library may need a package of its hosts, such as a toolkit. A host needs that package only if it requests the
# library, so the library has a file of its own.
set(adapters "")
set(facts "")
foreach(library IN LISTS libraries)
  get_target_property(kind Tessaly${library} TYPE)
  get_property(host_packages GLOBAL PROPERTY TESSALY_HOST_PACKAGES_${library})
  if(NOT kind STREQUAL "INTERFACE_LIBRARY")
    set_target_properties(Tessaly${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
  if(host_packages)
    list(APPEND adapters ${library})
    install(TARGETS Tessaly${library} EXPORT Tessaly${library}Targets)
    install(EXPORT Tessaly${library}Targets NAMESPACE Tessaly:: DESTINATION ${cmake_directory})
  else()
    install(TARGETS Tessaly${library} EXPORT TessalyTargets)
  endif()
  tessaly_pkgconfig(${library})
  if(kind STREQUAL "STATIC_LIBRARY")
    get_property(packages GLOBAL PROPERTY TESSALY_PACKAGES_${library})
    string(APPEND facts "set(tessaly_packages_of_${library} ${packages})\n")
  endif()
  get_property(public GLOBAL PROPERTY TESSALY_PUBLIC_${library})
  get_property(private GLOBAL PROPERTY TESSALY_PRIVATE_${library})
  list(JOIN public " " public)
  list(JOIN private " " private)
  string(APPEND facts "set(tessaly_libraries_of_${library} ${public} ${private})\n")
endforeach()
install(EXPORT TessalyTargets NAMESPACE Tessaly:: DESTINATION ${cmake_directory})

configure_package_config_file(cmake/TessalyConfig.cmake.in ${PROJECT_BINARY_DIR}/TessalyConfig.cmake
  INSTALL_DESTINATION ${cmake_directory} PATH_VARS CMAKE_INSTALL_INCLUDEDIR NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TessalyConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/TessalyConfig.cmake
  ${PROJECT_BINARY_DIR}/TessalyConfigVersion.cmake
  cmake/TessalyBundle.cmake
  cmake/TessalyDependencies.cmake
  DESTINATION ${cmake_directory})
