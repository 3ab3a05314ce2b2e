# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` gives, in components: runtime (the shared libraries), dev (headers, CMake package, pkg-config
# file, examples), tools (programs and their man pages), testing (the test kit). The tree can be moved afterwards:
# nothing in it holds an absolute path.
include(CMakePackageConfigHelpers)

set(httpclient_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/httpclient")

# runtime and dev
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
install(FILES "${PROJECT_SOURCE_DIR}/examples/first/first.cpp" "${PROJECT_SOURCE_DIR}/examples/second/second.cpp"
              "${PROJECT_SOURCE_DIR}/docs/examples/async.cpp"
              "${PROJECT_SOURCE_DIR}/docs/examples/tls.cpp" "${PROJECT_SOURCE_DIR}/docs/examples/tls-root.sh"
              "${PROJECT_SOURCE_DIR}/docs/examples/tls-server.sh" "${PROJECT_SOURCE_DIR}/docs/examples/identity.sh"
              "${PROJECT_SOURCE_DIR}/packaging/examples/CMakeLists.txt"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/libhttpclient-dev/examples" COMPONENT dev)

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/httpclientConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/httpclientConfig.cmake" INSTALL_DESTINATION "${httpclient_cmake_dir}"
  PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/httpclientConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/httpclientConfig.cmake" "${PROJECT_BINARY_DIR}/httpclientConfigVersion.cmake"
  DESTINATION "${httpclient_cmake_dir}" COMPONENT dev)

# The .pc file finds the tree from where it lies itself.
file(RELATIVE_PATH httpclient_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" httpclient_pc_prefix "${httpclient_pc_prefix}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/httpclient.pc.in" "${PROJECT_BINARY_DIR}/httpclient.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/httpclient.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)

# tools; ovex-tls installs itself
if(TARGET httpclient-send AND TARGET httpclient-demo)
  set_target_properties(httpclient-send httpclient-demo PROPERTIES
    INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}") # the moved tree still finds its library
  install(TARGETS httpclient-send httpclient-demo RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/man/httpclient-send.1"
                "${PROJECT_SOURCE_DIR}/packaging/man/httpclient-demo.1"
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
endif()
install(FILES "${PROJECT_SOURCE_DIR}/packaging/alerts/httpclient.yml"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/httpclient/alerts" COMPONENT tools)

# testing. What of the kit needs GoogleTest stays at home.
if(TARGET httpclient_testing)
  install(TARGETS httpclient_testing httpclient_testing_trace EXPORT httpclientTestingTargets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT testing)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/tests/kit/include/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
    COMPONENT testing PATTERN ResourceListener.h EXCLUDE)
  install(EXPORT httpclientTestingTargets NAMESPACE httpclient:: DESTINATION "${httpclient_cmake_dir}" COMPONENT testing)
endif()
