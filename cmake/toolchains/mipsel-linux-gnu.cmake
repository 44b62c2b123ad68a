# The board: 32-bit little-endian MIPS, hardware floating point, glibc. Debian's cross compiler
# (g++-mipsel-linux-gnu); what is built runs on a PC under QEMU's user mode (qemu-user).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)

set(triple mipsel-linux-gnu)
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_CXX_COMPILER ${triple}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triple})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel -L /usr/${triple})

# Libraries are the board's own. Headers and packages may be the PC's: those that are used have headers alone,
# and the compiler looks in /usr/include last.
set(CMAKE_FIND_ROOT_PATH /usr/${triple} /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
