# What the benchmarks are measured against, where it is installed. Nothing here is required.

pkg_check_modules(BENCH_EVENT IMPORTED_TARGET libevent_core)
if(BENCH_EVENT_FOUND)
  target_compile_definitions(TimerBench PRIVATE BENCH_WITH_EVENT=1)
  target_link_libraries(TimerBench PRIVATE PkgConfig::BENCH_EVENT)
endif()

find_path(BENCH_EV_INCLUDE ev.h)
find_library(BENCH_EV_LIBRARY ev)
if(BENCH_EV_INCLUDE AND BENCH_EV_LIBRARY)
  target_compile_definitions(TimerBench PRIVATE BENCH_WITH_EV=1)
  target_link_libraries(TimerBench PRIVATE ${BENCH_EV_LIBRARY})
endif()

pkg_check_modules(BENCH_OLA IMPORTED_TARGET libola)
if(BENCH_OLA_FOUND)
  target_compile_definitions(TrapBench PRIVATE BENCH_WITH_OLA=1)
  target_link_libraries(TrapBench PRIVATE PkgConfig::BENCH_OLA)
  # Its headers still use what the language has dropped since.
  target_compile_options(TrapBench PRIVATE -Wno-deprecated-declarations)
endif()
