# SPDX-License-Identifier: Apache-2.0
# Installs the build, moves the installed tree, and builds and runs a host against it.
# BUILD_DIR, WORK, CONSUMER, CXX, CXX_FLAGS, WAY (find_package or pkg_config)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGV}\nfailed with ${result}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK}/installed")
file(RENAME "${WORK}/installed" "${WORK}/moved")

if(WAY STREQUAL "find_package")
  run("${CMAKE_COMMAND}" -S "${CONSUMER}" -B "${WORK}/host" "-DCMAKE_PREFIX_PATH=${WORK}/moved"
      "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
  run("${CMAKE_COMMAND}" --build "${WORK}/host")
  set(program "${WORK}/host/host")
else()
  file(GLOB_RECURSE pc "${WORK}/moved/httpclient.pc")
  get_filename_component(pc_dir "${pc}" DIRECTORY)
  get_filename_component(lib_dir "${pc_dir}" DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
  run(pkg-config --cflags --libs httpclient)
  separate_arguments(flags UNIX_COMMAND "${output} ${CXX_FLAGS}")
  set(program "${WORK}/host")
  run("${CXX}" -std=c++17 "${CONSUMER}/main.cpp" -o "${program}" ${flags} -pthread "-Wl,-rpath,${lib_dir}")
endif()

run("${program}")
if(NOT output MATCHES "status 200, body: hello")
  message(FATAL_ERROR "The host printed:\n${output}")
endif()
message("${output}")
