# The sources of a folder, new ones included without a change here.
function(lighting_sources variable)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  list(FILTER found EXCLUDE REGEX "/main\\.cpp$")
  if(NOT found)
    set(found ${PROJECT_SOURCE_DIR}/cmake/Nothing.cpp)
  endif()
  set(${variable} ${found} PARENT_SCOPE)
endfunction()
