# The program time_check: the daemon's objects on the chosen ground. Linked by the C compiler, which proves that nothing
# of the C++ library is needed (decision 0007).
add_executable(time_check ${PROJECT_SOURCE_DIR}/time_check/link.c)
set_target_properties(time_check PROPERTIES LINKER_LANGUAGE C)

# Small variables, which every tick writes, lie together and not between tables that are seldom touched: fewer pages of
# memory of its own.
target_link_options(time_check PRIVATE LINKER:--sort-section=alignment)

if(TIME_CHECK_SMALL AND NOT TIME_CHECK_PLATFORM STREQUAL "sim")
    # The pages that could be closed to writing after the start hold two pointers here, and begin with a kilobyte of
    # padding in the file.
    target_link_options(time_check PRIVATE -Wl,--gc-sections -Wl,--build-id=none -Wl,-z,norelro)
    # The linker begins the variables on a page of their own where that saves a page of memory, with up to 4 kB of padding
    # in the file.
    target_link_options(time_check PRIVATE -Wl,-z,common-page-size=64)
    if(CMAKE_C_COMPILER_ID STREQUAL GNU)
        target_link_options(time_check PRIVATE -flto-partition=one)
    endif()
endif()
# daemon_on(GROUND...): the daemon's objects on these libraries, with what prints the calls between the two if that is wanted
function(daemon_on)
    if(TIME_CHECK_TRACE)
        target_link_libraries(ground_trace INTERFACE ${ARGN})
        target_link_libraries(time_check PRIVATE daemon_traced)
    else()
        target_link_libraries(time_check PRIVATE daemon_objects ${ARGN})
    endif()
endfunction()

if(TIME_CHECK_PLATFORM STREQUAL "sim")
    if(TIME_CHECK_TRACE)
        message(FATAL_ERROR "TIME_CHECK_TRACE: the virtual router has a journal instead")
    endif()
    target_link_libraries(time_check PRIVATE time_check_on_sim)
    set_target_properties(time_check PROPERTIES LINKER_LANGUAGE CXX) # the virtual router is a C++ program
elseif(TIME_CHECK_PLATFORM STREQUAL "linux")
    daemon_on(platform_linux)
    # Its lines go out by platform/linux/log_lines.cpp, and what it reads of a command has a deadline (command.cpp); other
    # programs of this ground keep libc's calls. Where the program is optimised when it is linked, nobody is seen to call
    # these before that is over: hence the -u.
    foreach(call IN ITEMS printf vfprintf __printf_chk __vfprintf_chk puts putchar popen pclose)
        target_link_options(time_check PRIVATE LINKER:--wrap=${call},-u,__wrap_${call})
    endforeach()
else()
    # A ground need not have what stands in platform/common; what it has goes first.
    daemon_on(time_check_ground platform_program platform_common)
endif()
