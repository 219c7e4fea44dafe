# The sources of a folder, new ones included without a change here.
function(lighting_sources variable)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  list(FILTER found EXCLUDE REGEX "/main\\.cpp$")
  if(NOT found)
    set(found ${PROJECT_SOURCE_DIR}/cmake/Nothing.cpp)
  endif()
  set(${variable} ${found} PARENT_SCOPE)
endfunction()

# The programs of a folder: one for each source whose name ends in SUFFIX, in bin/<folder>/. The
# folder's other sources are part of each. The target <folder>_programs builds them all.
#
#     lighting_programs(FOLDER SUFFIX LINK libraries...)
function(lighting_programs folder suffix)
  cmake_parse_arguments(PARSE_ARGV 2 program "" "" "LINK")
  add_custom_target(${folder}_programs)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  set(shared ${sources})
  list(FILTER shared EXCLUDE REGEX "${suffix}\\.cpp$")
  list(FILTER sources INCLUDE REGEX "${suffix}\\.cpp$")
  foreach(source IN LISTS sources)
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} ${source} ${shared})
    set_target_properties(${name} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${folder})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE ${program_LINK})
    add_dependencies(${folder}_programs ${name})
  endforeach()
endfunction()

# The headers of a folder for the target that is made of it and for all that link it. They are found
# in a tree of their own, which holds a link to that folder and nothing else: so a target sees the
# folders that it links, and no others. Paths in the program are those of the sources.
function(lighting_headers target folder)
  set(tree ${PROJECT_BINARY_DIR}/include/${folder})
  file(MAKE_DIRECTORY ${tree})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${tree}/${folder} SYMBOLIC)
  get_target_property(type ${target} TYPE)
  set(scope PUBLIC)
  if(type STREQUAL INTERFACE_LIBRARY)
    set(scope INTERFACE)
  endif()
  target_include_directories(${target} ${scope}
    $<BUILD_INTERFACE:${tree}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/lightingcommon>)
  target_compile_options(${target} ${scope}
    $<BUILD_INTERFACE:-ffile-prefix-map=${tree}/=${LIGHTING_SOURCE_NAME}>)
endfunction()
