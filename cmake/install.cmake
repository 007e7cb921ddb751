include(CMakePackageConfigHelpers)

install(TARGETS thriftyol EXPORT thriftyolTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The library's generated headers, and the GoogleMock handler for the tests of
# applications (header only: it needs gmock where it is used, not here). The
# JSON mapping and the sample fillers serve our own tools and tests and are
# not installed.
install(DIRECTORY ${THRIFTYOL_GEN_DIR}/thriftyol/types ${THRIFTYOL_GEN_DIR}/thriftyol/service
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/thriftyol
  COMPONENT development FILES_MATCHING PATTERN "*.h")
install(FILES ${THRIFTYOL_GEN_MOCK} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/thriftyol/testing
  COMPONENT development)
# The Wireshark dissector, for field debugging (see the README).
install(FILES ${THRIFTYOL_GEN_DISSECTOR} DESTINATION ${CMAKE_INSTALL_DATADIR}/thriftyol
  COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/thriftyol/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/thriftyol
  COMPONENT development FILES_MATCHING PATTERN "*.h")

set(THRIFTYOL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/thriftyol)
install(EXPORT thriftyolTargets NAMESPACE thriftyol:: DESTINATION ${THRIFTYOL_CMAKE_DIR}
  COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/thriftyolConfig.cmake.in
  ${PROJECT_BINARY_DIR}/thriftyolConfig.cmake INSTALL_DESTINATION ${THRIFTYOL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/thriftyolConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/thriftyolConfig.cmake ${PROJECT_BINARY_DIR}/thriftyolConfigVersion.cmake
  DESTINATION ${THRIFTYOL_CMAKE_DIR} COMPONENT development)

# The pkg-config file finds its prefix from where it lies, so that it holds
# wherever the files are installed or unpacked (cmake --install --prefix, the
# Debian packages under /usr, a staging root).
file(RELATIVE_PATH THRIFTYOL_PC_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" THRIFTYOL_PC_TO_PREFIX "${THRIFTYOL_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/thriftyol.pc.in ${PROJECT_BINARY_DIR}/thriftyol.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/thriftyol.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
