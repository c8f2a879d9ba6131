# The store among processes that are killed or stopped.
add_executable(store_kill_test store_kill_test.cpp)
target_compile_definitions(store_kill_test PRIVATE CFM_PROGRAM="$<TARGET_FILE:cfm>")
target_link_libraries(store_kill_test PRIVATE house_warnings platform_linux GTest::gtest_main)
add_dependencies(store_kill_test cfm)
gtest_discover_tests(store_kill_test TEST_PREFIX lab. DISCOVERY_TIMEOUT 60 PROPERTIES LABELS lab TIMEOUT 300)

# What steps through a program, and reads its instructions, is written for this processor.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL x86_64)
    add_executable(store_steps_test store_steps_test.cpp instruction_kill.cpp)
    target_link_libraries(store_steps_test PRIVATE house_warnings platform_linux GTest::gtest_main)
    gtest_discover_tests(store_steps_test TEST_PREFIX lab. NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS lab TIMEOUT 300)
endif()
