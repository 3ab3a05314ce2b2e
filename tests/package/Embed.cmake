# SPDX-License-Identifier: Apache-2.0
# Builds a host that has the library in its own build. What an earlier run has built stays.
# SOURCE, HOST, WORK, GENERATOR, CXX, LAUNCHER
include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")

run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${HOST}" -B "${WORK}" "-DHTTPCLIENT_SOURCE=${SOURCE}"
    "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}")
run("${CMAKE_COMMAND}" --build "${WORK}" --parallel 2)
