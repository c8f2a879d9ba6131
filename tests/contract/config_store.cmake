# The configuration store's contract on the plain-Linux ground, and what only that ground's store does.
add_executable(config_store_linux_contract_test config_store_test.cpp config_store_linux_ground.cpp)
target_link_libraries(config_store_linux_contract_test PRIVATE house_warnings platform_linux GTest::gtest_main)
gtest_discover_tests(config_store_linux_contract_test TEST_PREFIX contract.linux.
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS contract TIMEOUT 120)

# The same where values are not remembered: the program's own GetValue goes before the library's.
add_executable(config_store_unremembered_test config_store_test.cpp config_store_linux_ground.cpp
    ${PROJECT_SOURCE_DIR}/platform/linux/store/unremembered.cpp)
target_include_directories(config_store_unremembered_test SYSTEM PRIVATE ${LMDB_INCLUDE_DIR})
target_link_libraries(config_store_unremembered_test PRIVATE house_warnings platform_linux GTest::gtest_main)
gtest_discover_tests(config_store_unremembered_test TEST_PREFIX contract.unremembered.
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS contract TIMEOUT 120)

# linux_store_test(NAME LABEL): NAME.cpp on the plain-Linux ground.
function(linux_store_test name label)
    add_executable(${name} ${name}.cpp)
    target_link_libraries(${name} PRIVATE house_warnings platform_linux GTest::gtest_main)
    gtest_discover_tests(${name} TEST_PREFIX contract.linux.
        DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${label} TIMEOUT 120)
endfunction()

linux_store_test(config_store_linux_test contract)
linux_store_test(config_store_published_test contract)
linux_store_test(config_store_look_test contract)
linux_store_test(config_store_open_test contract)
linux_store_test(config_store_threads_test threads)
foreach(name IN ITEMS config_store_power_cut_test last_restart_power_cut_test)
    linux_store_test(${name} contract)
    target_sources(${name} PRIVATE power_cut.cpp)
endforeach()
foreach(name IN ITEMS config_store_cfm_test cfm_set_test cfm_list_test cfm_watch_test)
    linux_store_test(${name} contract)
    target_compile_definitions(${name} PRIVATE CFM_PROGRAM="$<TARGET_FILE:cfm>")
    add_dependencies(${name} cfm)
endforeach()

if(NOT TIME_CHECK_SANITIZE) # their run-time libraries want to be loaded before the box's clock
    add_executable(config_store_daemon_test config_store_daemon_test.cpp)
    target_compile_definitions(config_store_daemon_test PRIVATE TIME_CHECK_PROGRAM="$<TARGET_FILE:time_check>"
        NETCTRL_PROGRAM="$<TARGET_FILE:netctrl>" BOX_CLOCK="$<TARGET_FILE:box_clock>")
    target_link_libraries(config_store_daemon_test PRIVATE contract_namespace_main platform_linux)
    add_dependencies(config_store_daemon_test time_check netctrl box_clock)
    gtest_discover_tests(config_store_daemon_test TEST_PREFIX contract.linux.
        DISCOVERY_TIMEOUT 60 PROPERTIES LABELS contract TIMEOUT 300)
endif()

# These stand in front of the C library's memory, which is the sanitizers' place.
if(NOT TIME_CHECK_SANITIZE)
    add_executable(config_store_failures_test config_store_failures_test.cpp faulty_calls.cpp)
    target_link_libraries(config_store_failures_test PRIVATE house_warnings platform_linux GTest::gtest_main ${CMAKE_DL_LIBS})
    gtest_discover_tests(config_store_failures_test TEST_PREFIX contract.linux. NO_PRETTY_VALUES
        DISCOVERY_TIMEOUT 60 PROPERTIES LABELS contract COST 60 TIMEOUT 300) # a lock that stays taken costs two seconds, in many cases
endif()
