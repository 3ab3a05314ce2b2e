# SPDX-License-Identifier: Apache-2.0
# Builds a host with CMake against the installed tree, and runs its program, if one is named.
# INSTALLED, HOST (source directory), PROGRAM, PRINTS, WORK, GENERATOR, CXX, CXX_FLAGS
include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${HOST}" -B "${WORK}" "-DCMAKE_PREFIX_PATH=${INSTALLED}"
    "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run("${CMAKE_COMMAND}" --build "${WORK}")
if(PROGRAM)
  run_host("${WORK}/${PROGRAM}" "${PRINTS}")
endif()
