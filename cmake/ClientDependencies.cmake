# What zef_client is made of, found once for all its components and their tests.
find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
pkg_check_modules(LIBISCSI REQUIRED IMPORTED_TARGET libiscsi)
pkg_check_modules(SAFEC REQUIRED IMPORTED_TARGET libsafec)
pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
