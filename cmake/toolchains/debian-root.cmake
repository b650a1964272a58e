# What the cross builds share: Debian's cross compiler for ZAN_CROSS_TRIPLET, and everything else (C library,
# headers, libraries) out of a folder with the unpacked packages of that architecture, which scripts/test-arch
# makes. ZAN_ARCH_ROOT names the folder; the environment variable of that name does too.
set(CMAKE_SYSTEM_NAME Linux)

if(NOT ZAN_ARCH_ROOT)
  if(DEFINED ENV{ZAN_ARCH_ROOT})
    set(ZAN_ARCH_ROOT $ENV{ZAN_ARCH_ROOT})
  else()
    set(ZAN_ARCH_ROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/arch/${ZAN_CROSS_ARCH}/root)
  endif()
endif()
get_filename_component(ZAN_ARCH_ROOT ${ZAN_ARCH_ROOT} ABSOLUTE)
set(ZAN_ARCH_ROOT ${ZAN_ARCH_ROOT} CACHE PATH "The unpacked packages of the target")
# CMake configures its compiler checks as projects of their own, which read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZAN_ARCH_ROOT)

set(CMAKE_C_COMPILER ${ZAN_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${ZAN_CROSS_TRIPLET}-g++)
set(CMAKE_SYSROOT ${ZAN_ARCH_ROOT})
set(CMAKE_LIBRARY_ARCHITECTURE ${ZAN_CROSS_TRIPLET})
if(ZAN_CROSS_ARCH STREQUAL "i386")
  # Debian's library folder keeps the name of the oldest processor; the compiler is named after a newer one.
  set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
endif()

# Where the target's Debian has its modules; CMake guesses that in native builds only.
set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Folder of the target's libraries")

# The target's libraries need others of the target, which the linker has to find too.
set(ZAN_ARCH_LIBRARIES ${ZAN_ARCH_ROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE})
string(APPEND ZAN_ARCH_LIBRARIES :${ZAN_ARCH_ROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Wl,-rpath-link,${ZAN_ARCH_LIBRARIES}")
endforeach()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
