# Each runs our way and another in turn (alternate.h).
add_executable(store_bench store_bench.cpp)
target_link_libraries(store_bench PRIVATE house_warnings platform_linux)

add_executable(start_bench start_bench.cpp)
target_link_libraries(start_bench PRIVATE house_warnings)

add_executable(quiet_bench quiet_bench.cpp)
target_link_libraries(quiet_bench PRIVATE house_warnings daemon_objects platform_linux)

add_executable(watchdog_bench watchdog_bench.cpp)
target_link_libraries(watchdog_bench PRIVATE house_warnings daemon_objects platform_linux)
target_link_options(watchdog_bench PRIVATE LINKER:--wrap=select)

find_package(PkgConfig)
if(PkgConfig_FOUND)
    pkg_check_modules(DBUS IMPORTED_TARGET dbus-1)
endif()
if(DBUS_FOUND)
    add_executable(bus_bench bus_bench.cpp)
    target_link_libraries(bus_bench PRIVATE house_warnings platform_linux PkgConfig::DBUS)
endif()

if(TIME_CHECK_TESTS)
    add_executable(sim_bench sim_bench.cpp)
    target_link_libraries(sim_bench PRIVATE house_warnings time_check_on_sim)
endif()
