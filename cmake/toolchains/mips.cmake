# Big-endian 32-bit MIPS. Debian has no such architecture, only the cross compiler with libc: no library but that.
set(TIME_CHECK_MIPS mips)
include(${CMAKE_CURRENT_LIST_DIR}/mips-common.cmake)
