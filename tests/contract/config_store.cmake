# The configuration store's contract on each ground, and what only the plain-Linux ground's store does.
add_executable(config_store_linux_contract_test config_store_test.cpp config_store_linux_ground.cpp)
target_link_libraries(config_store_linux_contract_test PRIVATE house_warnings platform_linux GTest::gtest_main)
gtest_discover_tests(config_store_linux_contract_test TEST_PREFIX contract.linux.
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS contract TIMEOUT 120)

add_executable(config_store_sim_contract_test config_store_test.cpp config_store_sim_ground.cpp)
target_link_libraries(config_store_sim_contract_test PRIVATE house_warnings time_check_on_sim test_main)
gtest_discover_tests(config_store_sim_contract_test TEST_PREFIX contract.sim.
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
