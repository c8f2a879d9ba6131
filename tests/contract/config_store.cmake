# The configuration store's contract on the plain-Linux ground, and what only that ground's store does.
add_executable(config_store_linux_contract_test config_store_test.cpp config_store_linux_ground.cpp)
target_link_libraries(config_store_linux_contract_test PRIVATE house_warnings platform_linux GTest::gtest_main)
gtest_discover_tests(config_store_linux_contract_test TEST_PREFIX contract.linux.
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS contract TIMEOUT 120)

add_executable(config_store_linux_test config_store_linux_test.cpp)
target_link_libraries(config_store_linux_test PRIVATE house_warnings platform_linux GTest::gtest_main)
gtest_discover_tests(config_store_linux_test TEST_PREFIX contract.linux.
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS contract TIMEOUT 120)

add_executable(config_store_threads_test config_store_threads_test.cpp)
target_link_libraries(config_store_threads_test PRIVATE house_warnings platform_linux GTest::gtest_main)
gtest_discover_tests(config_store_threads_test TEST_PREFIX contract.linux.
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS threads TIMEOUT 120)

add_executable(config_store_cfm_test config_store_cfm_test.cpp)
target_compile_definitions(config_store_cfm_test PRIVATE CFM_PROGRAM="$<TARGET_FILE:cfm>")
target_link_libraries(config_store_cfm_test PRIVATE house_warnings platform_linux GTest::gtest_main)
add_dependencies(config_store_cfm_test cfm)
gtest_discover_tests(config_store_cfm_test TEST_PREFIX contract.linux.
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS contract TIMEOUT 120)
