# Cross builds with Debian's compilers, for the processors in the file "architectures" beside this: the compiler, with
# the C and C++ libraries that it brings along, is this machine's; the other libraries come out of a folder with the
# unpacked packages of that processor's Debian, which scripts/test-arch makes. ZAN_ARCH names the processor and ZAN_ARCH_ROOT the folder;
# environment variables of those names do too.
set(CMAKE_SYSTEM_NAME Linux)

foreach(setting IN ITEMS ZAN_ARCH ZAN_ARCH_ROOT)
  if(NOT ${setting} AND DEFINED ENV{${setting}})
    set(${setting} $ENV{${setting}})
  endif()
endforeach()
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/architectures architectures REGEX "^[a-z]")
list(TRANSFORM architectures REPLACE " .*" "")
if(NOT ZAN_ARCH IN_LIST architectures)
  list(JOIN architectures ", " architectures)
  message(FATAL_ERROR "ZAN_ARCH is \"${ZAN_ARCH}\", but has to be one of ${architectures}.")
endif()
set(ZAN_ARCH ${ZAN_ARCH} CACHE STRING "The processor to build for, by Debian's name")
if(NOT ZAN_ARCH_ROOT)
  set(ZAN_ARCH_ROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/arch/${ZAN_ARCH}/root)
endif()
get_filename_component(ZAN_ARCH_ROOT ${ZAN_ARCH_ROOT} ABSOLUTE)
set(ZAN_ARCH_ROOT ${ZAN_ARCH_ROOT} CACHE PATH "The unpacked packages of the target")
# CMake configures its compiler checks as projects of their own, which read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZAN_ARCH ZAN_ARCH_ROOT)

# zan_architecture(<variable> <property>): what Debian says of the processor.
function(zan_architecture variable property)
  execute_process(COMMAND dpkg-architecture -f -a ${ZAN_ARCH} -q DEB_HOST_${property}
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
  set(${variable} ${answer} PARENT_SCOPE)
endfunction()
zan_architecture(CMAKE_SYSTEM_PROCESSOR GNU_CPU)
zan_architecture(triplet GNU_TYPE)
# On i386 the folder of the libraries keeps the name of the oldest processor, the compiler has that of a newer one.
zan_architecture(CMAKE_LIBRARY_ARCHITECTURE MULTIARCH)

set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_SYSROOT ${ZAN_ARCH_ROOT})

# Where the target's Debian has its modules; CMake guesses that in native builds only.
set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Folder of the target's libraries")

# The target's libraries need others of the target, which the linker has to find too.
set(libraries ${ZAN_ARCH_ROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE})
string(APPEND libraries :${ZAN_ARCH_ROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Wl,-rpath-link,${libraries}")
endforeach()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
