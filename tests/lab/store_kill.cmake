# The store among processes that are killed or stopped.
find_package(GTest REQUIRED)
include(GoogleTest)

add_executable(store_kill_test store_kill_test.cpp)
target_compile_definitions(store_kill_test PRIVATE CFM_PROGRAM="$<TARGET_FILE:cfm>")
target_link_libraries(store_kill_test PRIVATE house_warnings platform_linux GTest::gtest_main)
add_dependencies(store_kill_test cfm)
gtest_discover_tests(store_kill_test TEST_PREFIX lab. PROPERTIES LABELS lab TIMEOUT 300)
