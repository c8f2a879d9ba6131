# The CPU watchdog's measurement on a real kernel. Alone on the machine: it compares times.
# The daemon's objects with its main under another name, or the test program would be the daemon.
daemon_renamed(time_check_without_main SYMBOLS main=time_check_main LIBS platform_linux)

add_executable(cpu_measure_test cpu_measure_test.cpp)
target_link_libraries(cpu_measure_test PRIVATE house_warnings time_check_without_main GTest::gtest_main)
gtest_discover_tests(cpu_measure_test TEST_PREFIX lab. DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS lab TIMEOUT 120 RUN_SERIAL ON)
