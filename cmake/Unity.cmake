# Several sources of a target in one run of the compiler: what they share, templates above all, is
# instantiated and optimised once instead of once a source. That spares about a third of the time of
# the sanitizer build from nothing; a changed source costs more, so the dev build goes without.
#
# Sources that meet here cannot use the same name for two things, even where nobody else sees it.
if(NOT LIGHTING_UNITY)
  return()
endif()

# Sources in one run. More save little and keep one core waiting for the other at the end.
set(batch 12)
set(targets lightingcommon embedded_host simulated_devices drivers lighting_host_parts)
if(LIGHTING_BUILD_TESTS)
  foreach(folder lighting_common embedded_host simulated_devices drivers lighting_host)
    list(APPEND targets ${folder}_tests)
  endforeach()
endif()
set_target_properties(${targets} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${batch})

# Left alone: what uses the same names on purpose, as the rooms of types and the faults of devices do,
# and what takes long as it is, so that it begins early.
function(alone target)
  file(GLOB sources ${ARGN})
  set_source_files_properties(${sources} TARGET_DIRECTORY ${target}
    PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
set(top ${PROJECT_SOURCE_DIR})
alone(lightingcommon ${top}/lighting_common/EnergyInfoCollector.cpp
  ${top}/lighting_common/LoadGroupManager.cpp)
alone(simulated_devices ${top}/simulated_devices/*Faults.cpp
  ${top}/simulated_devices/WiredDimmer.cpp)
alone(lighting_host_parts ${top}/lighting_host/types/*/*.cpp
  ${top}/lighting_host/broker/Discovery.cpp ${top}/lighting_host/broker/RawZcl.cpp
  ${top}/lighting_host/broker/Zigbee2MqttTexts.cpp
  ${top}/lighting_host/text/JsonWriter.cpp ${top}/lighting_host/web/WebServer.cpp)
if(LIGHTING_BUILD_TESTS)
  alone(embedded_host_tests ${top}/tests/embedded_host/XmlTreeTest.cpp)
endif()
