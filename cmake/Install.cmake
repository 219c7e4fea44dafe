# What an author of drivers gets: the headers, the libraries, the program, and a package for
# find_package(lightingcommon).
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/lightingcommon)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/lightingcommon)

# What a folder keeps to itself lies in its folder internal/. A driver needs nothing of the embedded
# host; its author's tests do.
install(DIRECTORY
  host_interfaces/nxshared host_interfaces/NxLibDriverBases lighting_common embedded_host
  DESTINATION ${headers} FILES_MATCHING PATTERN *.h PATTERN internal EXCLUDE)

# Wherever it is installed, the program finds its libraries beside it.
file(RELATIVE_PATH libraries_from_program
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(lighting-host PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_program}")
set_target_properties(lightingcommon embedded_host PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS lightingcommon embedded_host host_interfaces lighting-host EXPORT lightingcommon
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT lightingcommon NAMESPACE lightingcommon::
  FILE lightingcommonTargets.cmake DESTINATION ${package})

configure_package_config_file(cmake/lightingcommonConfig.cmake.in
  ${PROJECT_BINARY_DIR}/lightingcommonConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lightingcommonConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/lightingcommonConfig.cmake
  ${PROJECT_BINARY_DIR}/lightingcommonConfigVersion.cmake
  DESTINATION ${package})
