# The name servers' file on a real kernel, in an /etc of the test's own.
add_executable(resolv_conf_test resolv_conf_test.cpp)
target_link_libraries(resolv_conf_test PRIVATE house_warnings time_check_without_main GTest::gtest)
gtest_discover_tests(resolv_conf_test TEST_PREFIX lab. DISCOVERY_TIMEOUT 60 PROPERTIES LABELS lab TIMEOUT 120)
