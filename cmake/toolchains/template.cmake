# A toolchain file to begin with, for a product's SDK. Copy it, and give the copy to cmake's first run:
#
#   cmake -B build --toolchain /path/to/my_toolchain.cmake -DTIME_CHECK_PLATFORM=/path/to/my_ground.cmake ...
#
# As it stands it is for Debian's own cross compiler for 64-bit ARM (package g++-aarch64-linux-gnu).

# The product's processor, as its `uname -m` says. What begins with "mips" gets the options of small MIPS routers with
# TIME_CHECK_SMALL.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

# The SDK's compilers: a folder, and what stands before "gcc" in their names. The C++ compiler must know C++20 (g++ 10,
# clang++ 12, or newer); its library is not needed on the board, nor for the board.
set(sdk_prefix aarch64-linux-gnu-)
set(CMAKE_C_COMPILER ${sdk_prefix}gcc)
set(CMAKE_CXX_COMPILER ${sdk_prefix}g++)

# Where the SDK keeps the board's headers and libraries, when the compilers do not know it by themselves.
# set(CMAKE_SYSROOT /path/to/sdk/staging_dir/target)
# set(CMAKE_FIND_ROOT_PATH /path/to/sdk/staging_dir/target)

# What the board's other programs are compiled with: processor, floating point, ABI.
# set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a53")
# set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a53")

# Libraries and headers are the board's, programs of the build this machine's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
