# Little-endian 32-bit MIPS: Debian's cross compiler, and libraries from Debian's mipsel architecture, which are fetched
# when they are not there yet.
set(TIME_CHECK_MIPS mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/mips-common.cmake)

cmake_path(SET house NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../..)
set(libraries ${house}build/mips/sysroot)
set(wanted libcli11-dev libfmt-dev liblmdb-dev liblmdb0 libmicrohttpd-dev libmnl-dev libmnl0 nlohmann-json3-dev)
set(fetched "")
if(EXISTS ${libraries}/complete)
    file(STRINGS ${libraries}/complete fetched)
endif()
if(NOT fetched STREQUAL wanted)
    execute_process(COMMAND ${house}lab/mips/fetch --alone ${libraries} ${wanted} COMMAND_ERROR_IS_FATAL ANY)
    list(JOIN wanted "\n" lines)
    file(WRITE ${libraries}/complete "${lines}\n")
endif()
list(PREPEND CMAKE_FIND_ROOT_PATH ${libraries})
