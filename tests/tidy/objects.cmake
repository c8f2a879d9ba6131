# What is looked for in the daemon's objects and program, whichever machine they are for.
include(${CMAKE_CURRENT_LIST_DIR}/symbols.cmake)

add_test(NAME tidy.no_allocation COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/no_allocation.sh ${CMAKE_NM}
    $<TARGET_OBJECTS:daemon_objects> COMMAND_EXPAND_LISTS)
set_tests_properties(tidy.no_allocation PROPERTIES LABELS tidy)

# The daemon runs where there is no C++ library. Sanitizers bring their own, so those builds cannot tell; and the virtual
# router is a C++ program.
if(NOT TIME_CHECK_SANITIZE AND NOT TIME_CHECK_PLATFORM STREQUAL "sim")
    add_test(NAME tidy.no_cxx_library
        COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/no_cxx_library.sh $<TARGET_FILE:time_check>)
    set_tests_properties(tidy.no_cxx_library PROPERTIES LABELS tidy)
endif()

# The flash that a small router has for it.
if(TIME_CHECK_SMALL AND NOT TIME_CHECK_PLATFORM STREQUAL "sim")
    add_test(NAME tidy.fits_in_flash
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/fits_in_flash.sh ${CMAKE_STRIP} $<TARGET_FILE:time_check> 98304)
    set_tests_properties(tidy.fits_in_flash PROPERTIES LABELS tidy)
endif()
