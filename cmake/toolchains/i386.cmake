# 32-bit x86 with Debian's cross compiler.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(ZAN_CROSS_TRIPLET i686-linux-gnu)
set(ZAN_CROSS_ARCH i386)
include(${CMAKE_CURRENT_LIST_DIR}/debian-root.cmake)
