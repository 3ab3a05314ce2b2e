# SPDX-License-Identifier: Apache-2.0
# Builds a host with what pkg-config says of the installed tree, and runs it.
# INSTALLED, SOURCE, PRINTS, PROGRAM, CXX, CXX_FLAGS
include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")

file(GLOB_RECURSE pc "${INSTALLED}/httpclient.pc")
get_filename_component(pc_dir "${pc}" DIRECTORY)
get_filename_component(lib_dir "${pc_dir}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
run(pkg-config --cflags --libs httpclient)
separate_arguments(flags UNIX_COMMAND "${output} ${CXX_FLAGS}")
run("${CXX}" -std=c++17 "${SOURCE}" -o "${PROGRAM}" ${flags} -pthread "-Wl,-rpath,${lib_dir}")
run_host("${PROGRAM}" "${PRINTS}")
