# SPDX-License-Identifier: Apache-2.0
# The Debian packages, which tools/package makes: libhttpclient1, libhttpclient-dev (with the testing kit) and
# httpclient-tools.
set(library_package "libhttpclient${PROJECT_VERSION_MAJOR}")
set(release 1)
set(same_version "(= ${PROJECT_VERSION}-${release})")

# A distributor puts its own here: users turn to this address, also with weaknesses (SECURITY.md).
set(HTTPCLIENT_MAINTAINER "The httpclient maintainers <maintainers@httpclient.invalid>" CACHE STRING
  "Name and address that the Debian packages give as their maintainer")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME httpclient)
set(CPACK_PACKAGE_VENDOR "The httpclient maintainers")
set(CPACK_PACKAGE_CONTACT "${HTTPCLIENT_MAINTAINER}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools testing)
set(CPACK_COMPONENT_RUNTIME_GROUP runtime)
set(CPACK_COMPONENT_DEV_GROUP dev)
set(CPACK_COMPONENT_TESTING_GROUP dev)
set(CPACK_COMPONENT_TOOLS_GROUP tools)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE "${release}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/lib")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${library_package}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION}
Requests on the caller's thread or on workers, over pooled connections, with
mutual TLS and service tokens. This is the shared library, with the reference
platform below it.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libhttpclient-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${library_package} ${same_version}, libace-dev, libjsoncpp-dev, pkgconf")
set(CPACK_DEBIAN_DEV_PACKAGE_RECOMMENDS libssl-dev) # the testing kit
set(CPACK_DEBIAN_DEV_DESCRIPTION "${PROJECT_DESCRIPTION} (development)
Headers, CMake package, pkg-config file, examples, and a testing kit for
services: loopback servers, mutual TLS, a token service, a recording log.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME httpclient-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library_package} ${same_version}")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "${PROJECT_DESCRIPTION} (programs)
Sets up and checks TLS and service identity (ovex-tls), sends requests from
the command line, and has a server to try them on.")

# Debian wants copyright and changes in each package: ours, and its own.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file("${PROJECT_SOURCE_DIR}/packaging/changelog.in" "${PROJECT_BINARY_DIR}/changelog.Debian" @ONLY)
foreach(part "runtime;${library_package}" "dev;libhttpclient-dev" "tools;httpclient-tools")
  list(GET part 0 component)
  list(GET part 1 package)
  set(directory "${CMAKE_INSTALL_DATADIR}/doc/${package}")
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/copyright" DESTINATION "${directory}" COMPONENT ${component})
  install(FILES "${PROJECT_SOURCE_DIR}/CHANGELOG.md" DESTINATION "${directory}" COMPONENT ${component} RENAME changelog)
  install(FILES "${PROJECT_BINARY_DIR}/changelog.Debian" DESTINATION "${directory}" COMPONENT ${component}
    EXCLUDE_FROM_ALL) # an installation by hand goes without
endforeach()

set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/Finish.cmake")
include(CPack)
