# SPDX-License-Identifier: Apache-2.0
# CPack runs this on what it is about to pack: every file gets the time that SOURCE_DATE_EPOCH names.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND find "${CPACK_TEMPORARY_INSTALL_DIRECTORY}" -exec
                          touch --no-dereference "--date=@$ENV{SOURCE_DATE_EPOCH}" {} +
    COMMAND_ERROR_IS_FATAL ANY)
endif()
