# The sources of a folder, new ones included without a change here.
function(lighting_sources variable)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  list(FILTER found EXCLUDE REGEX "/main\\.cpp$")
  if(NOT found)
    set(found ${PROJECT_SOURCE_DIR}/cmake/Nothing.cpp)
  endif()
  set(${variable} ${found} PARENT_SCOPE)
endfunction()

# The programs of a folder, one for each of its sources, in bin/<folder>/. What the programs share
# lives in headers there. The target <folder>_programs builds them all.
#
#     lighting_programs(FOLDER LINK libraries... [LINK_OPTIONS options...])
function(lighting_programs folder)
  cmake_parse_arguments(PARSE_ARGV 1 program "" "" "LINK;LINK_OPTIONS")
  add_custom_target(${folder}_programs)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  foreach(source IN LISTS sources)
    get_filename_component(name ${source} NAME_WE)
    add_executable(${folder}_${name} ${source})
    set_target_properties(${folder}_${name} PROPERTIES
      OUTPUT_NAME ${name}
      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${folder})
    target_include_directories(${folder}_${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${folder}_${name} PRIVATE ${program_LINK})
    target_link_options(${folder}_${name} PRIVATE ${program_LINK_OPTIONS})
    add_dependencies(${folder}_programs ${folder}_${name})
  endforeach()
endfunction()
