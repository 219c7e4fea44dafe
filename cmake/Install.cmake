# What is installed, in the components that the packages are made of:
#
#   runtime      the library
#   development  its headers and the host's interfaces, for find_package(lightingcommon) and pkg-config
#   program      lighting-host and the embedded host's library
#   testkit      what the tests of a driver use: the test kit, the simulated devices, and the headers
#                of the embedded host
#   doc          the documents and the examples
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/lightingcommon)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/lightingcommon)

# What a folder keeps to itself lies in its folder internal/. A driver needs nothing of the embedded
# host; its author's tests do.
install(DIRECTORY host_interfaces/nxshared host_interfaces/NxLibDriverBases lighting_common
  DESTINATION ${headers} COMPONENT development
  FILES_MATCHING PATTERN *.h PATTERN internal EXCLUDE)
install(DIRECTORY embedded_host test_kit device_wire simulated_devices wire
  DESTINATION ${headers} COMPONENT testkit
  FILES_MATCHING PATTERN *.h PATTERN internal EXCLUDE)

# Wherever it is installed, the program finds its libraries beside it.
file(RELATIVE_PATH libraries_from_program
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(lighting-host PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_program}")
set_target_properties(lightingcommon embedded_host PROPERTIES INSTALL_RPATH "$ORIGIN")

# One export for each component, so that a package brings the targets whose files it brings.
install(TARGETS lightingcommon host_interfaces EXPORT lightingcommon
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS embedded_host EXPORT lightingcommonTestkit
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT program NAMELINK_COMPONENT testkit)
# Static: they are linked into tests alone, and promise nothing about their symbols.
install(TARGETS testkit device_wire simulated_devices wire EXPORT lightingcommonTestkit
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT testkit)
install(TARGETS lighting-host EXPORT lightingcommonProgram
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
foreach(pair "development;lightingcommon" "testkit;lightingcommonTestkit"
    "program;lightingcommonProgram")
  list(GET pair 0 component)
  list(GET pair 1 export)
  install(EXPORT ${export} NAMESPACE lightingcommon:: FILE ${export}Targets.cmake
    DESTINATION ${package} COMPONENT ${component})
endforeach()

configure_package_config_file(cmake/lightingcommonConfig.cmake.in
  ${PROJECT_BINARY_DIR}/lightingcommonConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lightingcommonConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/lightingcommonConfig.cmake
  ${PROJECT_BINARY_DIR}/lightingcommonConfigVersion.cmake
  DESTINATION ${package} COMPONENT development)

# The same for builds that ask pkg-config. The prefix is found from where the file lies.
file(RELATIVE_PATH prefix_from_pkgconfig
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
foreach(pair "development;lightingcommon" "testkit;lightingcommon-testkit")
  list(GET pair 0 component)
  list(GET pair 1 name)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component})
endforeach()

# Manual pages and completions, as the program itself tells them.
set(texts ${PROJECT_BINARY_DIR}/command_texts)
add_custom_command(OUTPUT ${texts}/man COMMENT "Writing manual pages and completions"
  COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:lighting-host> -DFOLDER=${texts}
    -P ${PROJECT_SOURCE_DIR}/cmake/CommandTexts.cmake
  DEPENDS lighting-host cmake/CommandTexts.cmake scripts/manual_pages docs/houses.md
    docs/protocol.md)
add_custom_target(packaged DEPENDS ${texts}/man)
# The program does without the kit.
add_dependencies(packaged testkit)
if(LIGHTING_BUILD_TESTS)
  add_dependencies(plain_tests packaged)
endif()
foreach(pair man|man/man1 man5|man/man5 bash|bash-completion/completions zsh|zsh/vendor-completions
    fish|fish/vendor_completions.d)
  string(REPLACE "|" ";" pair ${pair})
  list(GET pair 0 from)
  list(GET pair 1 to)
  install(DIRECTORY ${texts}/${from}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/${to} COMPONENT program
    OPTIONAL)
endforeach()

# The service that serves a house of /etc/lighting-host.
install(FILES packaging/lighting-host@.service DESTINATION lib/systemd/system COMPONENT program)

install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT doc)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
# Sources to copy from.
install(DIRECTORY drivers DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc
  PATTERN CMakeLists.txt EXCLUDE)
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
# The reference, where scripts/reference has made it.
install(DIRECTORY ${PROJECT_BINARY_DIR}/reference DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc
  OPTIONAL)

include(cmake/Packages.cmake)
