# What `cmake --install` gives: headers, library, CMake package, pkg-config file.
include(CMakePackageConfigHelpers)

set(TAMSEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tamsel)

install(
  TARGETS tamsel
  EXPORT tamsel-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
)
install(
  DIRECTORY include/tamsel
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development
)
install(
  EXPORT tamsel-targets
  NAMESPACE tamsel::
  DESTINATION ${TAMSEL_CMAKE_DIR}
  COMPONENT development
)

configure_package_config_file(
  cmake/tamselConfig.cmake.in tamselConfig.cmake INSTALL_DESTINATION ${TAMSEL_CMAKE_DIR}
)
write_basic_package_version_file(tamselConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES ${CMAKE_CURRENT_BINARY_DIR}/tamselConfig.cmake
        ${CMAKE_CURRENT_BINARY_DIR}/tamselConfigVersion.cmake
        ${PROJECT_SOURCE_DIR}/cmake/tamsel-jsoncpp.cmake
  DESTINATION ${TAMSEL_CMAKE_DIR}
  COMPONENT development
)

# Relative to the file's own place where that is known, so that the tree can be moved; an absolute
# CMAKE_INSTALL_LIBDIR or CMAKE_INSTALL_INCLUDEDIR is kept as it is.
set(TAMSEL_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(TAMSEL_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(TAMSEL_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH TAMSEL_PC_UP /${TAMSEL_PC_DIR} /)
  string(REGEX REPLACE "/$" "" TAMSEL_PC_PREFIX "\${pcfiledir}/${TAMSEL_PC_UP}")
  set(TAMSEL_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
  set(TAMSEL_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
else()
  set(TAMSEL_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/libtamsel.pc.in libtamsel.pc @ONLY)
install(
  FILES ${CMAKE_CURRENT_BINARY_DIR}/libtamsel.pc
  DESTINATION ${TAMSEL_PC_DIR}
  COMPONENT development
)
