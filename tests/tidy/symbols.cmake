# The symbol guard: for the objects as they are built here, for the names that fortified builds give to calls, for lines
# of its lists that neither uses, and for a call that nobody classed and lines that nobody uses, which it must find.
set(symbol_guard ${CMAKE_CURRENT_SOURCE_DIR}/symbols.py --nm ${CMAKE_NM} --wrapped ${PROJECT_SOURCE_DIR}/platform/sim/wrap.list
    --pure ${PROJECT_SOURCE_DIR}/platform/sim/pure.list --contract ${PROJECT_SOURCE_DIR}/platform)

function(add_symbol_guard name)
    add_test(NAME ${name} COMMAND ${Python3_EXECUTABLE} ${symbol_guard} ${ARGN} COMMAND_EXPAND_LISTS)
    set_tests_properties(${name} PROPERTIES LABELS tidy)
endfunction()

add_symbol_guard(tidy.symbols $<TARGET_OBJECTS:daemon_objects> $<TARGET_OBJECTS:platform_common>)

if(NOT TIME_CHECK_SANITIZE)
    daemon_variant(time_check_fortified FLAGS
        -O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong)
    set_target_properties(time_check_fortified PROPERTIES WITHOUT_MIPS16 ON) # fortified calls do not go with it
    add_symbol_guard(tidy.symbols.fortified $<TARGET_OBJECTS:time_check_fortified>)
    if(NOT CMAKE_CROSSCOMPILING AND CMAKE_CXX_COMPILER_ID STREQUAL GNU) # the lists name what other builds bring
        add_symbol_guard(tidy.symbols.no_more_than_used --both-ways $<TARGET_OBJECTS:daemon_objects>
            $<TARGET_OBJECTS:platform_common> $<TARGET_OBJECTS:time_check_fortified>)
    endif()
endif()

add_library(symbols_unclassed OBJECT symbols_unclassed.cpp)
add_symbol_guard(tidy.symbols.finds_unclassed $<TARGET_OBJECTS:symbols_unclassed>)
set_tests_properties(tidy.symbols.finds_unclassed PROPERTIES
    PASS_REGULAR_EXPRESSION "getpid is neither wrapped, pure nor contract")
add_symbol_guard(tidy.symbols.finds_unused --both-ways $<TARGET_OBJECTS:symbols_unclassed>)
set_tests_properties(tidy.symbols.finds_unused PROPERTIES
    PASS_REGULAR_EXPRESSION "open is in wrap.list, and no object uses it.*strstr is in pure.list, and no object uses it")
