# Two sets of flags: for people's programs and tests (hosted C++), and for the daemon and the grounds (C++ without
# exceptions, RTTI or the C++ library, so that a router needs libc alone).

add_library(house_warnings INTERFACE)
target_compile_options(house_warnings INTERFACE
    -Werror -Wall -Wextra -Wshadow -Wconversion -Wformat=2 -Wundef -Wvla -Wcast-qual -Wpointer-arith
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>)
target_include_directories(house_warnings INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(house_warnings INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)

add_library(house_freestanding INTERFACE)
target_link_libraries(house_freestanding INTERFACE house_warnings)
target_compile_options(house_freestanding INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -fno-asynchronous-unwind-tables>
    -fdata-sections)

# For routers with little flash: whatever the build type says about the rest, the daemon and its ground are small.
option(TIME_CHECK_SMALL "make the daemon and its ground as small as can be" OFF)
if(TIME_CHECK_SMALL)
    target_compile_options(house_freestanding INTERFACE
        -Os -ffunction-sections -fno-unwind-tables -fno-stack-protector -fno-ident)
    # Programs at fixed addresses: on MIPS the table of addresses and the calls through it are a quarter of the daemon,
    # and a table that the loader fills is memory of its own.
    add_compile_options(-fno-pie)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^mips")
        add_compile_options(-mplt -mno-shared)
        target_compile_options(house_freestanding INTERFACE -mno-check-zero-division)
    endif()
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
endif()

# Sanitizers, by preset: "address,undefined" or "thread".
set(TIME_CHECK_SANITIZE "" CACHE STRING "sanitizers to build everything with")
if(TIME_CHECK_SANITIZE)
    add_compile_options(-fsanitize=${TIME_CHECK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${TIME_CHECK_SANITIZE})
endif()
