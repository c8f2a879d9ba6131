find_path(VALGRIND_INCLUDE_DIR valgrind/callgrind.h)
if(NOT VALGRIND_INCLUDE_DIR)
    return()
endif()

# The daemon as the benchmark drives it: the same objects, with main, the loop's sleep, the clocks and the pause of a CPU
# sample under other names.
daemon_renamed(time_check_driven
    SYMBOLS main=time_check_main sleep=bench_sleep time=bench_time get_uptime=bench_get_uptime select=bench_select
    LIBS platform_linux)

add_executable(tick_bench tick_bench.cpp)
target_link_libraries(tick_bench PRIVATE house_warnings time_check_driven)
