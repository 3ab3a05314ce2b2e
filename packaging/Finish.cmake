# SPDX-License-Identifier: Apache-2.0
# CPack runs this on what it is about to pack. Debian wants changes and manual pages compressed; and every file gets the
# time that SOURCE_DATE_EPOCH names.
foreach(paths "*/man/*.1" "*/doc/*/changelog*")
  execute_process(COMMAND find "${CPACK_TEMPORARY_INSTALL_DIRECTORY}" -type f -path "${paths}" -exec gzip -9n {} +
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND find "${CPACK_TEMPORARY_INSTALL_DIRECTORY}" -exec
                          touch --no-dereference "--date=@$ENV{SOURCE_DATE_EPOCH}" {} +
    COMMAND_ERROR_IS_FATAL ANY)
endif()
