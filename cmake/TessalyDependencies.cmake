# The packages that the libraries stand on. Each is a private dependency of the one target that uses it.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(ICU 70 REQUIRED COMPONENTS uc i18n)
find_package(fmt 9 REQUIRED)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
