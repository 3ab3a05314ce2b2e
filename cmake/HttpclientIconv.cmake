# SPDX-License-Identifier: Apache-2.0
# Character conversion: GNU libiconv where it is installed, else an adapter over the C library's iconv.
#
# httpclient_iconv          what a target links to get the chosen one
# HTTPCLIENT_ICONV_SOURCES  what it compiles besides: the adapter, nothing with GNU libiconv
include_guard(GLOBAL)

# The system's own iconv.h is no candidate unless it is GNU libiconv's.
function(_httpclient_find_gnu_iconv result)
  find_path(HTTPCLIENT_GNU_ICONV_INCLUDE_DIR iconv.h DOC "Header directory of GNU libiconv")
  find_library(HTTPCLIENT_GNU_ICONV_LIBRARY iconv DOC "GNU libiconv")
  set(found FALSE)
  if(HTTPCLIENT_GNU_ICONV_INCLUDE_DIR AND HTTPCLIENT_GNU_ICONV_LIBRARY)
    include(CheckCXXSourceCompiles)
    include(CMakePushCheckState)
    cmake_push_check_state(RESET)
    set(CMAKE_REQUIRED_INCLUDES "${HTTPCLIENT_GNU_ICONV_INCLUDE_DIR}")
    set(CMAKE_REQUIRED_LIBRARIES "${HTTPCLIENT_GNU_ICONV_LIBRARY}")
    # A cached answer would outlive a change of the paths.
    unset(HTTPCLIENT_GNU_ICONV_WORKS CACHE)
    check_cxx_source_compiles("
      #include <iconv.h>
      #ifndef _LIBICONV_VERSION
      #error not GNU libiconv
      #endif
      int main() {
        iconv_fallbacks fallbacks{};
        return libiconvctl(libiconv_open(\"UTF-8\", \"GBK\"), ICONV_SET_FALLBACKS, &fallbacks);
      }" HTTPCLIENT_GNU_ICONV_WORKS)
    cmake_pop_check_state()
    set(found "${HTTPCLIENT_GNU_ICONV_WORKS}")
  endif()
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

set(_httpclient_use_gnu_iconv FALSE)
if(HTTPCLIENT_ICONV STREQUAL "gnu" OR HTTPCLIENT_ICONV STREQUAL "auto")
  _httpclient_find_gnu_iconv(_httpclient_use_gnu_iconv)
elseif(NOT HTTPCLIENT_ICONV STREQUAL "libc")
  message(FATAL_ERROR "HTTPCLIENT_ICONV must be gnu, libc or auto, not '${HTTPCLIENT_ICONV}'")
endif()
if(HTTPCLIENT_ICONV STREQUAL "gnu" AND NOT _httpclient_use_gnu_iconv)
  message(FATAL_ERROR "HTTPCLIENT_ICONV=gnu: GNU libiconv was not found")
endif()

add_library(httpclient_iconv INTERFACE)
if(_httpclient_use_gnu_iconv)
  message(STATUS "Character conversion: GNU libiconv (${HTTPCLIENT_GNU_ICONV_LIBRARY})")
  set(HTTPCLIENT_ICONV_SOURCES "" CACHE INTERNAL "")
  target_include_directories(httpclient_iconv SYSTEM INTERFACE
                             "$<BUILD_INTERFACE:${HTTPCLIENT_GNU_ICONV_INCLUDE_DIR}>")
  target_link_libraries(httpclient_iconv INTERFACE "$<BUILD_INTERFACE:${HTTPCLIENT_GNU_ICONV_LIBRARY}>")
  target_compile_definitions(httpclient_iconv INTERFACE "$<BUILD_INTERFACE:HTTPCLIENT_GNU_ICONV=1>")
else()
  message(STATUS "Character conversion: the C library's iconv")
  set(HTTPCLIENT_ICONV_SOURCES
      "${PROJECT_SOURCE_DIR}/src/message/charset/IconvAdapter.cpp"
      "${PROJECT_SOURCE_DIR}/src/message/charset/IconvBare94.cpp"
      "${PROJECT_SOURCE_DIR}/src/message/charset/IconvCharsets.cpp"
      "${PROJECT_SOURCE_DIR}/src/message/charset/IconvLibc.cpp"
      "${PROJECT_SOURCE_DIR}/src/message/charset/IconvUnicode.cpp"
      CACHE INTERNAL "")
endif()
unset(_httpclient_use_gnu_iconv)
