# The CPU watchdog's measurement on a real kernel. Alone on the machine: it compares times.
# The daemon's objects with its main under another name, or the test program would be the daemon.
set(archive ${CMAKE_CURRENT_BINARY_DIR}/libtime_check_without_main.a)
add_custom_command(OUTPUT ${archive}
    COMMAND ${CMAKE_OBJCOPY} --redefine-sym main=time_check_main $<TARGET_FILE:time_check_daemon> ${archive}
    DEPENDS time_check_daemon VERBATIM)
add_custom_target(time_check_without_main DEPENDS ${archive})

add_executable(cpu_measure_test cpu_measure_test.cpp)
add_dependencies(cpu_measure_test time_check_without_main)
target_link_libraries(cpu_measure_test PRIVATE house_warnings ${archive} platform_linux GTest::gtest_main)
gtest_discover_tests(cpu_measure_test TEST_PREFIX lab. DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS lab TIMEOUT 120 RUN_SERIAL ON)
