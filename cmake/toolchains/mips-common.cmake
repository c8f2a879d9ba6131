# What both 32-bit MIPS toolchains share; the includer has set TIME_CHECK_MIPS to "mipsel" or "mips".
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${TIME_CHECK_MIPS})
set(CMAKE_C_COMPILER ${TIME_CHECK_MIPS}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${TIME_CHECK_MIPS}-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${TIME_CHECK_MIPS}-linux-gnu)

# Programs of the build run here by user-mode emulation, with the cross compiler's libc.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${TIME_CHECK_MIPS}-static;-L;/usr/${TIME_CHECK_MIPS}-linux-gnu)

# Libraries and headers are never this machine's own.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_FIND_ROOT_PATH /usr/${TIME_CHECK_MIPS}-linux-gnu)
