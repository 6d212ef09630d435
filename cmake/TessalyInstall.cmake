# What `cmake --install` puts in place: the libraries, their headers, and what CMake and pkg-config need to find them.
# find_package(Tessaly COMPONENTS ...) knows one component for each library, and each has a pkg-config file.

if(NOT TESSALY_INSTALL)
  return()
endif()
include(CMakePackageConfigHelpers)

set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Tessaly)
get_property(libraries GLOBAL PROPERTY TESSALY_LIBRARIES)

install(DIRECTORY Tessaly TYPE INCLUDE FILES_MATCHING PATTERN "*.hpp" PATTERN "Platform/Linux" EXCLUDE)
install(FILES LICENSE TYPE DOC)

# tessaly_pkgconfig_names(VARIABLE NAME...): how pkg-config calls these libraries, "tessaly-foundation-extensions".
function(tessaly_pkgconfig_names VARIABLE)
  set(names ${ARGN})
  list(TRANSFORM names PREPEND tessaly-)
  list(TRANSFORM names REPLACE "([a-z])([A-Z])" "\\1-\\2")
  list(TRANSFORM names TOLOWER)
  list(TRANSFORM names REPLACE "^tessaly-tessaly$" "tessaly")
  set(${VARIABLE} ${names} PARENT_SCOPE)
endfunction()

# tessaly_pkgconfig(NAME): the file of one library, movable with the folder that it is installed in.
function(tessaly_pkgconfig NAME)
  tessaly_pkgconfig_names(file ${NAME})
  get_property(dependencies GLOBAL PROPERTY TESSALY_PUBLIC_${NAME})
  get_property(packages GLOBAL PROPERTY TESSALY_PACKAGES_${NAME})
  tessaly_pkgconfig_names(dependencies ${dependencies})
  list(JOIN dependencies " " REQUIRES)
  string(APPEND REQUIRES " ${packages}")
  get_target_property(kind Tessaly${NAME} TYPE)
  if(NOT kind STREQUAL "INTERFACE_LIBRARY")
    set(LIBS "-L\${libdir} -lTessaly${NAME}")
    get_target_property(options Tessaly${NAME} INTERFACE_LINK_OPTIONS)
    if(options)
      list(JOIN options " " options)
      string(REPLACE "LINKER:" "-Wl," options "${options}")
      string(APPEND LIBS " ${options}")
    endif()
  endif()
  file(RELATIVE_PATH PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig/. ${CMAKE_INSTALL_PREFIX}/.)
  configure_file(cmake/tessaly.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${file}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${file}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

# What a library asks of its hosts (a toolkit) is looked for only where that library is asked for, so it has its own file.
set(adapters "")
foreach(library IN LISTS libraries)
  get_target_property(kind Tessaly${library} TYPE)
  get_property(packages GLOBAL PROPERTY TESSALY_PACKAGES_${library})
  if(NOT kind STREQUAL "INTERFACE_LIBRARY")
    set_target_properties(Tessaly${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
  if(packages)
    list(APPEND adapters ${library})
    install(TARGETS Tessaly${library} EXPORT Tessaly${library}Targets)
    install(EXPORT Tessaly${library}Targets NAMESPACE Tessaly:: DESTINATION ${cmake_folder})
  else()
    install(TARGETS Tessaly${library} EXPORT TessalyTargets)
  endif()
  tessaly_pkgconfig(${library})
endforeach()
install(EXPORT TessalyTargets NAMESPACE Tessaly:: DESTINATION ${cmake_folder})

configure_package_config_file(cmake/TessalyConfig.cmake.in ${PROJECT_BINARY_DIR}/TessalyConfig.cmake
  INSTALL_DESTINATION ${cmake_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TessalyConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/TessalyConfig.cmake
  ${PROJECT_BINARY_DIR}/TessalyConfigVersion.cmake
  cmake/TessalyBundle.cmake
  DESTINATION ${cmake_folder})
