# What an integrator writes: the target time_check_ground, with every call of platform/*.h. This one only links.
add_library(time_check_ground STATIC ${CMAKE_CURRENT_LIST_DIR}/stub_ground.c)
target_link_libraries(time_check_ground PRIVATE house_warnings)
