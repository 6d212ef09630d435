# The packages that the libraries need, each under the name for tessaly_library() and tessaly_backend(). The package
# configuration of a static installation reads this file too.

find_package(PkgConfig QUIET)

set(tessaly_package_archive libarchive)
set(tessaly_package_crypto libcrypto>=3)
set(tessaly_package_expat expat>=2.4)
set(tessaly_package_fmt fmt>=9)
set(tessaly_package_icu icu-uc>=70 icu-i18n>=70)
set(tessaly_package_idn2 libidn2)
set(tessaly_package_json nlohmann_json>=3.11)
set(tessaly_package_systemd libsystemd)
set(tessaly_package_wayland wayland-client)
set(tessaly_package_xcb xcb)

# Packages of which our libraries use the headers only: json consists of headers, and the other ones are loaded when they
# are first used. A host that links our libraries does not need them.
set(tessaly_header_packages archive crypto idn2 json systemd wayland xcb)

# tessaly_find_package(NAME): makes the target PkgConfig::Tessaly_<NAME>, unless this system lacks the package.
macro(tessaly_find_package NAME)
  if(PkgConfig_FOUND AND NOT TARGET PkgConfig::Tessaly_${NAME})
    pkg_check_modules(Tessaly_${NAME} QUIET IMPORTED_TARGET GLOBAL ${tessaly_package_${NAME}})
  endif()
endmacro()
