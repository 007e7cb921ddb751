include(CMakePackageConfigHelpers)

install(TARGETS thriftyol EXPORT thriftyolTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${THRIFTYOL_GEN_DIR}/thriftyol/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/thriftyol
  COMPONENT development FILES_MATCHING PATTERN "*.h")
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

configure_file(${PROJECT_SOURCE_DIR}/cmake/thriftyol.pc.in ${PROJECT_BINARY_DIR}/thriftyol.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/thriftyol.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
