# Little-endian 32-bit MIPS: Debian's cross compiler, and libraries from Debian's mipsel architecture, which are fetched
# when they are not there yet.
set(TIME_CHECK_MIPS mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/mips-common.cmake)

cmake_path(SET house NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../..)
set(libraries ${house}build/mips/sysroot)
if(NOT EXISTS ${libraries}/complete)
    execute_process(COMMAND ${house}lab/mips/fetch --alone ${libraries}
        libcli11-dev liblmdb-dev liblmdb0 libmnl-dev libmnl0 COMMAND_ERROR_IS_FATAL ANY)
    file(TOUCH ${libraries}/complete)
endif()
list(PREPEND CMAKE_FIND_ROOT_PATH ${libraries})
