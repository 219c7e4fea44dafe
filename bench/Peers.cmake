# What the benchmarks are measured against, where it is installed. Nothing here is required.

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
