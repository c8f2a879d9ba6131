# Two sets of flags: for people's programs and tests (hosted C++), and for the daemon and the grounds (C++ without
# exceptions, RTTI or the C++ library, so that a router needs libc alone).

include(CheckCXXCompilerFlag)

# Our presets switch it on; another compiler's new warning must not keep a stranger from building.
option(TIME_CHECK_WERROR "make every warning an error" OFF)

add_library(house_warnings INTERFACE)
target_compile_options(house_warnings INTERFACE
    $<$<BOOL:${TIME_CHECK_WERROR}>:-Werror>
    -Wall -Wextra -Wshadow -Wconversion -Wformat=2 -Wundef -Wvla -Wcast-qual -Wpointer-arith
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>)
target_include_directories(house_warnings INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(house_warnings INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)

add_library(house_freestanding INTERFACE)
target_link_libraries(house_freestanding INTERFACE house_warnings)
target_compile_options(house_freestanding INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -fno-asynchronous-unwind-tables>
    -ffunction-sections -fdata-sections)

# For routers with little flash: whatever the build type says about the rest, the daemon and its ground are small.
option(TIME_CHECK_SMALL "make the daemon and its ground as small as can be" OFF)
string(REGEX MATCH "^mips" TIME_CHECK_FOR_MIPS "${CMAKE_SYSTEM_PROCESSOR}")
if(TIME_CHECK_SMALL)
    target_compile_options(house_freestanding INTERFACE
        -Os -fno-unwind-tables -fno-stack-protector -fno-ident
        -fno-move-loop-invariants -fno-jump-tables) # an address that is kept over a loop is saved and restored around it
    # Optimised once more when the program is linked. The objects hold both forms, because the virtual router renames
    # symbols in the plain one.
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        target_compile_options(house_freestanding INTERFACE -flto=auto -ffat-lto-objects)
        set(CMAKE_REQUIRED_FLAGS -Werror) # not every processor has them, which is a warning
        check_cxx_compiler_flag(-fsection-anchors TIME_CHECK_HAS_ANCHORS)
        unset(CMAKE_REQUIRED_FLAGS)
        # What is meant for speed and found to grow this program (decision 0085).
        target_compile_options(house_freestanding INTERFACE
            -fno-guess-branch-probability -fno-shrink-wrap -fno-expensive-optimizations -fno-tree-tail-merge
            $<$<BOOL:${TIME_CHECK_HAS_ANCHORS}>:-fsection-anchors>
            $<$<STREQUAL:${TIME_CHECK_FOR_MIPS},mips>:-mmemcpy;-mbranch-likely>)
    endif()
    # Programs at fixed addresses: on MIPS the table of addresses and the calls through it are a quarter of the daemon,
    # and a table that the loader fills is memory of its own.
    add_compile_options(-fno-pie)
    if(TIME_CHECK_FOR_MIPS)
        add_compile_options(-mplt -mno-shared)
        target_compile_options(house_freestanding INTERFACE -mno-check-zero-division)
        # Two bytes an instruction instead of four, a quarter less flash (decision 0167).
        option(TIME_CHECK_MIPS16 "for processors with MIPS16e, which nearly all small routers have" ON)
        if(TIME_CHECK_MIPS16)
            target_compile_options(house_freestanding INTERFACE $<$<NOT:$<BOOL:$<TARGET_PROPERTY:WITHOUT_MIPS16>>>:-mips16>)
        endif()
    endif()
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
endif()

# Where tests look and no router does, a fresh variable on the stack holds a pattern and not the zero that often happens
# to lie there, so that what is read before it is written is seen.
check_cxx_compiler_flag(-ftrivial-auto-var-init=pattern TIME_CHECK_HAS_PATTERN)
if(TIME_CHECK_HAS_PATTERN AND TIME_CHECK_TESTS AND NOT TIME_CHECK_SMALL)
    target_compile_options(house_freestanding INTERFACE $<$<CONFIG:Debug>:-ftrivial-auto-var-init=pattern>)
endif()

# Sanitizers, by preset: "address,undefined" or "thread".
set(TIME_CHECK_SANITIZE "" CACHE STRING "sanitizers to build everything with")
if(TIME_CHECK_SANITIZE)
    add_compile_options(-fsanitize=${TIME_CHECK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${TIME_CHECK_SANITIZE})
endif()
