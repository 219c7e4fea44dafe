# For the builds of scripts/mutate alone: precompiled headers, so that a change takes seconds. Taken
# in by CMAKE_PROJECT_INCLUDE, before the project's targets are there.
function(precompile_for_mutation)
  target_precompile_headers(lightingcommon PRIVATE
    <algorithm> <map> <set> <string> <vector>
    <boost/bind/bind.hpp> <boost/make_shared.hpp> <boost/shared_ptr.hpp>
    <fmt/format.h> <log4cplus/logger.h>
    <lighting_common/internal/Diagnostics.h> <lighting_common/Names.h>
    <nxshared/CmdDispatcher.h> <nxshared/ICmdMessage.h> <nxshared/ITimerManager.h>
    <nxshared/NxMIBPacket.h> <nxshared/XmlDocument.h> <nxshared/XmlNode.h>)
  foreach(tests lighting_common_tests drivers_tests)
    target_precompile_headers(${tests} PRIVATE
      <string> <vector> <gmock/gmock.h> <gtest/gtest.h> <rapidcheck/gtest.h>)
  endforeach()
endfunction()

cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL precompile_for_mutation)
