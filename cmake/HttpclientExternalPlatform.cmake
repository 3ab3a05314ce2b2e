# SPDX-License-Identifier: Apache-2.0
# Binds the library to a platform of the host's own, in place of the reference platform.
if(NOT HTTPCLIENT_PLATFORM_INCLUDE_DIR)
  message(FATAL_ERROR "HTTPCLIENT_PLATFORM=external needs HTTPCLIENT_PLATFORM_INCLUDE_DIR")
endif()
add_library(ovexplatform INTERFACE)
add_library(httpclient::ovexplatform ALIAS ovexplatform)
target_include_directories(ovexplatform SYSTEM INTERFACE "$<BUILD_INTERFACE:${HTTPCLIENT_PLATFORM_INCLUDE_DIR}>")
target_link_libraries(ovexplatform INTERFACE "$<BUILD_INTERFACE:${HTTPCLIENT_PLATFORM_LIBRARIES}>")
