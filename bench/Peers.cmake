# What the benchmarks are measured against, where it is installed. Only what the product needs too is
# required.

pkg_check_modules(BENCH_EVENT libevent_core)
if(BENCH_EVENT_FOUND)
  target_compile_definitions(TimerBench PRIVATE BENCH_WITH_EVENT=1)
  target_link_libraries(TimerBench PRIVATE ${BENCH_EVENT_LINK_LIBRARIES})
endif()

# libev also has functions under the names of libevent's, with other ideas of their arguments: where
# both are linked, libevent must be the first to be found.
find_path(BENCH_EV_INCLUDE ev.h)
find_library(BENCH_EV_LIBRARY ev)
if(BENCH_EV_INCLUDE AND BENCH_EV_LIBRARY)
  foreach(program TimerBench HouseBench)
    target_compile_definitions(${program} PRIVATE BENCH_WITH_EV=1)
    target_link_libraries(${program} PRIVATE ${BENCH_EV_LIBRARY})
  endforeach()
endif()

# The house whose life is measured.
target_compile_definitions(HouseBench PRIVATE LIGHTING_EXAMPLES="${PROJECT_SOURCE_DIR}/examples")

pkg_check_modules(BENCH_OLA IMPORTED_TARGET libola)
if(BENCH_OLA_FOUND)
  target_compile_definitions(TrapBench PRIVATE BENCH_WITH_OLA=1)
  target_link_libraries(TrapBench PRIVATE PkgConfig::BENCH_OLA)
  # Its headers still use what the language has dropped since.
  target_compile_options(TrapBench PRIVATE -Wno-deprecated-declarations)
endif()

# The rigs of the tests hold a driver and its device together; some of them use assertions.
target_link_libraries(DevicesBench PRIVATE GTest::gtest)

pkg_check_modules(BENCH_SQLITE REQUIRED IMPORTED_TARGET sqlite3)
target_link_libraries(StateBench PRIVATE PkgConfig::BENCH_SQLITE)
