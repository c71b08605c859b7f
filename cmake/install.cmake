# What `cmake --install` installs: headers, library, CMake package, pkg-config file.
include(CMakePackageConfigHelpers)

set(TAMSEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tamsel)

# Adds a library and the headers in its directory include/ to the package.
function(tamsel_install_library target)
  install(
    TARGETS ${target}
    EXPORT tamsel-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  )
  install(
    DIRECTORY include/tamsel
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development
  )
endfunction()

tamsel_install_library(tamsel)
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

# Relative to the pkg-config file, so that the tree can be moved; an absolute CMAKE_INSTALL_LIBDIR or
# CMAKE_INSTALL_INCLUDEDIR is used unchanged.
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

# Writes and installs NAME.pc for a library of the package: NAME DESCRIPTION REQUIRES LIBS [PRIVATE-LIBS]
function(tamsel_install_pkg_config name description requires libs)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/pkg-config.pc.in ${name}.pc @ONLY)
  install(
    FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
    DESTINATION ${TAMSEL_PC_DIR}
    COMPONENT development
  )
endfunction()

tamsel_install_pkg_config(libtamsel "${PROJECT_DESCRIPTION}" jsoncpp -ltamsel -pthread)
