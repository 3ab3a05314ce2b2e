# SPDX-License-Identifier: Apache-2.0
# Installs the build, and moves the installed tree.
# BUILD_DIR, INSTALLED (where it is in the end)
include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")

file(REMOVE_RECURSE "${INSTALLED}" "${INSTALLED}-at-first")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${INSTALLED}-at-first")
file(RENAME "${INSTALLED}-at-first" "${INSTALLED}")
