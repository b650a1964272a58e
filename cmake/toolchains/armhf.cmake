# 32-bit ARM with Debian's cross compiler.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(ZAN_CROSS_TRIPLET arm-linux-gnueabihf)
set(ZAN_CROSS_ARCH armhf)
include(${CMAKE_CURRENT_LIST_DIR}/debian-root.cmake)
