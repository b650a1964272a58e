# Warnings for the project's own code.
add_library(zan_warnings INTERFACE)
add_library(zan::warnings ALIAS zan_warnings)
target_compile_options(zan_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)

# Sanitizers reach every translation unit and every link.
add_library(zan_sanitizers INTERFACE)
add_library(zan::sanitizers ALIAS zan_sanitizers)
foreach(sanitizer IN LISTS ZAN_SANITIZE)
  target_compile_options(zan_sanitizers INTERFACE -fsanitize=${sanitizer} -fno-omit-frame-pointer)
  target_link_options(zan_sanitizers INTERFACE -fsanitize=${sanitizer})
endforeach()
if("undefined" IN_LIST ZAN_SANITIZE)
  target_compile_options(zan_sanitizers INTERFACE -fno-sanitize-recover=undefined)
endif()

# The module runs as root on a router, parsing what another process sends.
add_library(zan_hardening INTERFACE)
add_library(zan::hardening ALIAS zan_hardening)
target_compile_options(zan_hardening INTERFACE -fstack-protector-strong)
target_link_options(zan_hardening INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
if(NOT ZAN_SANITIZE)
  # Fortified functions hide from the sanitizers what they look for.
  target_compile_options(zan_hardening INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
# The same sources give the same bytes, wherever they lie and are built: no path of this machine gets into the
# debug information, and from there into the build id. Of the maps that fit, the last one counts; it is for
# generators that compile in the target's own folder.
target_compile_options(zan_hardening INTERFACE
  $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
  $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=.>
  $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=$<TARGET_PROPERTY:BINARY_DIR>=.>)

# For small devices, together with -Os. The tests and tools are built the same way, so that they judge what is shipped.
add_library(zan_size INTERFACE)
add_library(zan::size ALIAS zan_size)
if(ZAN_SMALL)
  # No check whether it is supported: that would be a project of its own, without the settings of the toolchain file.
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  target_compile_options(zan_size INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(zan_size INTERFACE LINKER:--gc-sections)
endif()

include(CheckCXXCompilerFlag)
foreach(flag IN ITEMS -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "ZAN_HAS${flag}" has_flag)
  check_cxx_compiler_flag(${flag} ${has_flag})
  if(${has_flag})
    target_compile_options(zan_hardening INTERFACE ${flag})
  endif()
endforeach()
