find_path(VALGRIND_INCLUDE_DIR valgrind/callgrind.h)
if(NOT VALGRIND_INCLUDE_DIR)
    return()
endif()

# The daemon as the benchmark drives it: the same objects, with main, the loop's sleep, the clocks and the pause of a CPU
# sample under other names.
add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/libtime_check_driven.a
    COMMAND ${CMAKE_OBJCOPY} --redefine-sym main=time_check_main --redefine-sym sleep=bench_sleep
        --redefine-sym time=bench_time --redefine-sym get_uptime=bench_get_uptime --redefine-sym select=bench_select
        $<TARGET_FILE:time_check_daemon> ${CMAKE_CURRENT_BINARY_DIR}/libtime_check_driven.a
    DEPENDS time_check_daemon VERBATIM)
add_custom_target(time_check_driven DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/libtime_check_driven.a)

add_executable(tick_bench tick_bench.cpp)
add_dependencies(tick_bench time_check_driven)
target_link_libraries(tick_bench PRIVATE house_warnings
    ${CMAKE_CURRENT_BINARY_DIR}/libtime_check_driven.a platform_linux Threads::Threads)
