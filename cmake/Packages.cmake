# Debian packages, one for each component of the installation. scripts/package makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lightingcommon)
set(CPACK_PACKAGE_VENDOR "")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackageFiles.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_COMPONENTS_ALL runtime development program testkit doc)

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "liblightingcommon <liblightingcommon@example.org>")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# The changes, as packages bring them; without a time, so that the same text gives the same bytes.
set(changelog ${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging)
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/changelog
  OUTPUT_FILE ${changelog} COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/packaging/changelog)

set(same "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(library liblightingcommon${PROJECT_VERSION_MAJOR})

# component NAME PACKAGE SECTION SUMMARY DESCRIPTION [DEPENDS...]
macro(component name package section summary description)
  string(TOUPPER ${name} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  # The first line is the summary.
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${description}")
  string(REPLACE ";" ", " depends "${ARGN}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
  # What every package of Debian brings: its changes and, where a rule of the archive is not met, the
  # reason.
  install(FILES ${changelog}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${name})
  if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/${package}.lintian-overrides)
    install(FILES packaging/${package}.lintian-overrides
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package} COMPONENT ${name})
  endif()
endmacro()

component(runtime ${library} libs "building blocks for drivers of lighting products"
"Button logic, LED behaviors, scene membership and its repair, load groups,
advanced scenes kept on the device, energy accounting and a transmit queue
with retries, for drivers of dimmers, keypads, in-wall modules, RS-485
devices and ZigBee lights in a home-automation controller.")
# Libraries are known to the system once they are unpacked.
foreach(with_libraries RUNTIME PROGRAM)
  set(CPACK_DEBIAN_${with_libraries}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
endforeach()
component(development liblightingcommon-dev libdevel
  "building blocks for drivers of lighting products (headers)"
"The headers of the library and of the host's interfaces, a package for CMake
and one for pkg-config: what a driver is written and built against."
  "${library} ${same}" "libboost-dev (>= 1.74)")
component(program lighting-host utils "runs a house of lighting drivers on any machine"
"An embedded controller host, drivers of five kinds of products and simulated
devices: runs a house in real or virtual time, speaks a protocol of JSON lines,
replays transcripts and checks house files."
  "${library} ${same}")
component(testkit liblightingcommon-testkit-dev libdevel
  "test kit for drivers of lighting products"
"What a driver of one's own is tested with: the headers of the embedded host,
on a clock that the test moves, sentences about what a driver did, the list of
what every driver must do, and simulated devices with their faults."
  "liblightingcommon-dev ${same}" "lighting-host ${same}" "libgmock-dev" "libgtest-dev"
  "zlib1g-dev")
component(doc liblightingcommon-doc doc
  "building blocks for drivers of lighting products (documents)"
"The documents of the library, of the host and of the program, and examples of
drivers and houses.")
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOC_PACKAGE_SHLIBDEPS OFF)

include(CPack)
