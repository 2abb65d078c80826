# SPDX-License-Identifier: BSD-3-Clause

include(CMakePackageConfigHelpers)

# Components: library, development, tools, plugins, python; a package each, see TracewellPackages.cmake.
install(TARGETS tracewell_kernel
  EXPORT tracewellTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(DIRECTORY src/shared/wavedata/bridge/kernel/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tracewell COMPONENT development
  FILES_MATCHING PATTERN "*.h")
if(TRACEWELL_BUILD_TOOLS)
  install(TARGETS tracewell RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

if(TRACEWELL_BUILD_C)
  install(TARGETS tracewell_c
    EXPORT tracewellTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
  if(TARGET tracewell_c_static)
    get_target_property(archive tracewell_c_static TRACEWELL_ARCHIVE)
    install(FILES ${archive} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  endif()
  list(TRANSFORM TRACEWELL_C_SYSTEM_LIBRARIES PREPEND "-l" OUTPUT_VARIABLE systemLibraries)
  string(REPLACE ";" " " systemLibraries "${systemLibraries}")
  tracewell_install_pkg_config(cmake/tracewell-c.pc.in)
endif()

set(configDir ${CMAKE_INSTALL_LIBDIR}/cmake/tracewell)
install(EXPORT tracewellTargets NAMESPACE tracewell:: DESTINATION ${configDir}
  COMPONENT development)
configure_package_config_file(cmake/tracewellConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/tracewellConfig.cmake
  INSTALL_DESTINATION ${configDir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tracewellConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/tracewellConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/tracewellConfigVersion.cmake
  DESTINATION ${configDir} COMPONENT development)

tracewell_install_pkg_config(cmake/tracewell.pc.in)

include(TracewellPackages)
