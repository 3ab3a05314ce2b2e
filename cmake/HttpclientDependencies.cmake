# SPDX-License-Identifier: Apache-2.0
# What the library itself is built with; each room's own CMakeLists adds what only it needs.
find_package(Threads REQUIRED)
find_package(CURL 7.68 REQUIRED)
find_package(Boost 1.74 REQUIRED) # headers only
find_package(ZLIB REQUIRED)
find_package(OpenSSL 3.0 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(ACE REQUIRED IMPORTED_TARGET ACE)
pkg_check_modules(LIBEVENT REQUIRED IMPORTED_TARGET libevent_core>=2.1)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
