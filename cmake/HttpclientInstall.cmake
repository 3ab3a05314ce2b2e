# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` gives: libraries, public headers, the CMake package and the pkg-config file. The tree
# can be moved afterwards: nothing in it holds an absolute path.
include(CMakePackageConfigHelpers)

set(httpclient_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/httpclient")

install(TARGETS httpclient EXPORT httpclientTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT dev)
if(HTTPCLIENT_PLATFORM STREQUAL "reference")
  install(TARGETS ovexplatform EXPORT httpclientTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT dev)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/platform/include/"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/httpclient/platform" COMPONENT dev)
endif()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT dev)
install(EXPORT httpclientTargets NAMESPACE httpclient:: DESTINATION "${httpclient_cmake_dir}" COMPONENT dev)

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/httpclientConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/httpclientConfig.cmake" INSTALL_DESTINATION "${httpclient_cmake_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/httpclientConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/httpclientConfig.cmake" "${PROJECT_BINARY_DIR}/httpclientConfigVersion.cmake"
  DESTINATION "${httpclient_cmake_dir}" COMPONENT dev)

# The .pc file finds the tree from where it lies itself.
file(RELATIVE_PATH httpclient_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" httpclient_pc_prefix "${httpclient_pc_prefix}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/httpclient.pc.in" "${PROJECT_BINARY_DIR}/httpclient.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/httpclient.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
