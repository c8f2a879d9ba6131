# Makes the daemon's objects fit for the virtual router: cmake -D OBJECTS=a.o;b.o -D LIST=wrap.list -D OUTPUT=x.a
# -D WORK=folder -D OBJCOPY=... -D READELF=... -D AR=... -P rename_objects.cmake
#
# The code in them stays what it is. Two things change names: the libc calls of wrap.list, which become "sim_CALL", and
# the sections that hold writable data, which are gathered under names that the linker gives begin and end symbols
# (decision 0006).
cmake_policy(VERSION 3.20)

file(MAKE_DIRECTORY ${WORK})
# objcopy refuses two symbols that get the same name, so a family's symbols take a round each.
file(STRINGS ${LIST} lines REGEX "^[a-z]")
foreach(line IN LISTS lines)
    string(REGEX REPLACE "[ \t]+" ";" names "${line}")
    list(POP_FRONT names call)
    set(round 0)
    foreach(symbol IN LISTS names)
        math(EXPR round "${round} + 1")
        if(symbol STREQUAL "main")
            string(APPEND round_${round} "main time_check_main\n")
        else()
            string(APPEND round_${round} "${symbol} sim_${call}\n")
        endif()
    endforeach()
    if(NOT rounds OR round GREATER rounds)
        set(rounds ${round})
    endif()
endforeach()
foreach(round RANGE 1 ${rounds})
    file(WRITE ${WORK}/symbols.${round} "${round_${round}}")
endforeach()

set(renamed "")
foreach(object IN LISTS OBJECTS)
    execute_process(COMMAND ${READELF} -S -W ${object} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "\\.[^ ]+ +(PROGBITS|NOBITS) +[0-9a-f]+ [0-9a-f]+ [0-9a-f]+ [0-9a-f]+ +W[A-Za-z]*" headers
           "${headers}")
    set(options "--remove-section=.gnu.lto_*") # in which the linker would find the old names
    foreach(header IN LISTS headers)
        if(header MATCHES "^\\.t(data|bss)")
            message(FATAL_ERROR "${object} has thread-local data, which a restart would not put back")
        elseif(NOT header MATCHES "^\\.data\\.rel\\.ro" AND header MATCHES "^(\\.s?(data|bss)[^ ]*)")
            list(APPEND options --rename-section=${CMAKE_MATCH_1}=time_check_${CMAKE_MATCH_2})
        endif()
    endforeach()
    cmake_path(GET object FILENAME name)
    execute_process(COMMAND ${OBJCOPY} ${options} ${object} ${WORK}/${name} COMMAND_ERROR_IS_FATAL ANY)
    foreach(round RANGE 1 ${rounds})
        execute_process(COMMAND ${OBJCOPY} --redefine-syms=${WORK}/symbols.${round} ${WORK}/${name}
                        COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
    list(APPEND renamed ${WORK}/${name})
endforeach()

file(REMOVE ${OUTPUT})
execute_process(COMMAND ${AR} qcs ${OUTPUT} ${renamed} COMMAND_ERROR_IS_FATAL ANY)
