# 64-bit ARM with Debian's g++-aarch64-linux-gnu; programs run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-aarch64;-L;/usr/${triplet}")
