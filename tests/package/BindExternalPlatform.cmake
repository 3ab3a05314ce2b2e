# SPDX-License-Identifier: Apache-2.0
# Builds the library on a platform that is not the reference one, and sees its log lines arrive there.
# SOURCE, GENERATOR, FAKE, WORK, LAUNCHER

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGV}\nfailed with ${result}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

set(common -G "${GENERATOR}" -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}")
run("${CMAKE_COMMAND}" ${common} -S "${FAKE}" -B "${WORK}/platform")
run("${CMAKE_COMMAND}" --build "${WORK}/platform" --target fakeplatform)
run("${CMAKE_COMMAND}" ${common} -S "${SOURCE}" -B "${WORK}/library" -DHTTPCLIENT_PLATFORM=external
    "-DHTTPCLIENT_PLATFORM_INCLUDE_DIR=${FAKE}/include"
    "-DHTTPCLIENT_PLATFORM_LIBRARIES=${WORK}/platform/libfakeplatform.so"
    -DHTTPCLIENT_BUILD_TESTS=OFF -DHTTPCLIENT_BUILD_BENCH=OFF -DHTTPCLIENT_BUILD_EXAMPLES=OFF)
run("${CMAKE_COMMAND}" --build "${WORK}/library")
run("${CMAKE_COMMAND}" ${common} -S "${FAKE}" -B "${WORK}/platform"
    "-DHTTPCLIENT_INCLUDE=${SOURCE}/include" "-DHTTPCLIENT_LIBRARY=${WORK}/library/lib/libhttpclient.so")
run("${CMAKE_COMMAND}" --build "${WORK}/platform")
run("${WORK}/platform/fakehost")
if(NOT output MATCHES "fake 5/1: HTTP setDomain failed, strDomain is empty.")
  message(FATAL_ERROR "The host printed:\n${output}")
endif()
message("${output}")
