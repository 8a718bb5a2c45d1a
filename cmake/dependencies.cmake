# The static Boost libraries keep the launcher's start short: each shared library costs every start at boot.
set(Boost_USE_STATIC_LIBS ON)
find_package(Boost 1.81 REQUIRED COMPONENTS filesystem json regex)
find_package(SQLiteCpp REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(rpm REQUIRED IMPORTED_TARGET rpm>=4.18)
pkg_check_modules(glib REQUIRED IMPORTED_TARGET glib-2.0)
