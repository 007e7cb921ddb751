# Debian packages, one per install component:
#
#   libthriftyol1     (runtime)      the shared library
#   libthriftyol-dev  (development)  headers, the .so link, the CMake package,
#                                    pkg-config, the GoogleMock handler,
#                                    the Wireshark dissector
#   thriftyol-tools   (tools)        yolctl and yol-gateway-sim
#
# Made in the build directory, after a build, with `cpack -G DEB` (into
# -B DIR if given). The packages install under /usr.

# The tools go with the tools package; they are installed only when they
# are part of this build.
set(THRIFTYOL_TOOLS "")
foreach(tool yolctl yol-gateway-sim)
  if(TARGET ${tool})
    list(APPEND THRIFTYOL_TOOLS ${tool})
  endif()
endforeach()
if(THRIFTYOL_TOOLS)
  install(TARGETS ${THRIFTYOL_TOOLS} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

# cpack packages what the build made and builds nothing itself (its install
# step would otherwise build every target first).
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

set(THRIFTYOL_PACKAGE_MAINTAINER "libthriftyol maintainers <maintainers@users.noreply.c-seed-62e753db.example>"
    CACHE STRING "The Maintainer field of the Debian packages")
set(THRIFTYOL_PACKAGE_RELEASE 1 CACHE STRING "The Debian revision of the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME thriftyol)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Binaries go into the packages without their debugging information.
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(THRIFTYOL_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${THRIFTYOL_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_RELEASE ${THRIFTYOL_PACKAGE_RELEASE})
set(THRIFTYOL_DEB_VERSION ${PROJECT_VERSION}-${THRIFTYOL_PACKAGE_RELEASE})
# Dependencies on shared libraries come from dpkg-shlibdeps, which finds
# our own library for the tools in the build tree; the runtime package
# declares its library (shlibs file) and runs ldconfig when installed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# The body of each package's description; its first line is the project's
# description.
set(THRIFTYOL_DEB_ABOUT
  "libthriftyol carries the RPC service Yol between the applications of an
in-cab field computer on an agricultural machine and the machine's
telematics gateway, on the Apache Thrift runtime.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libthriftyol1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "${THRIFTYOL_DEB_ABOUT}
.
This package holds the shared library: every record and enumeration of
the contract, the client and the request processor.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libthriftyol-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libthriftyol1 (= ${THRIFTYOL_DEB_VERSION}), libthrift-dev, libboost-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libgmock-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "${THRIFTYOL_DEB_ABOUT}
.
This package holds the headers, the CMake package (find_package(thriftyol)),
the pkg-config module, a GoogleMock handler for application tests and a
Wireshark dissector of the service (/usr/share/thriftyol/yol.lua).")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME thriftyol-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libthriftyol1 (= ${THRIFTYOL_DEB_VERSION})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
  "Command-line tools for the RPC service Yol: yolctl makes any call of the
service on a server and prints its result; yol-gateway-sim serves the
service as a simulated telematics gateway, answering every call from a
state that the calls change.")

include(CPack)
