# SPDX-License-Identifier: Apache-2.0
# run(<command>...): runs it, keeps its output in `output`, and ends the test when it fails.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGV}\nfailed with ${result}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# run_host(<program> <text>): a host has to succeed and to print this.
function(run_host program text)
  run("${program}")
  string(FIND "${output}" "${text}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "${program} printed:\n${output}\nwithout: ${text}")
  endif()
  message("${output}")
endfunction()
