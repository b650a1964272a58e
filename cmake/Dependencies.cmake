# The three libraries that the module calls, as imported targets. They are searched for as plain headers and
# libraries: that works the same natively and in a cross build's sysroot, with no pkg-config of the target.

# zan_require(<variable> <what> <Debian package>): ends the configuration when what was searched for is not there.
function(zan_require variable what package)
  mark_as_advanced(${variable})
  if(NOT ${variable})
    message(FATAL_ERROR "There is no ${what}. Debian has it in a package:\n  apt-get install ${package}")
  endif()
endfunction()

# zan_import(<target> <Debian package> <header> <include suffixes> <library>...): zan::<target> with those libraries.
function(zan_import target package header suffixes)
  find_path(ZAN_${target}_INCLUDE_DIR ${header} PATH_SUFFIXES ${suffixes})
  zan_require(ZAN_${target}_INCLUDE_DIR ${header} ${package})
  add_library(zan::${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(zan::${target} SYSTEM INTERFACE ${ZAN_${target}_INCLUDE_DIR})
  foreach(library IN LISTS ARGN)
    find_library(ZAN_${library}_LIBRARY ${library})
    zan_require(ZAN_${library}_LIBRARY lib${library} ${package})
    target_link_libraries(zan::${target} INTERFACE ${ZAN_${library}_LIBRARY})
  endforeach()
endfunction()

zan_import(netsnmpagent libsnmp-dev net-snmp/net-snmp-config.h "" netsnmpagent netsnmp)
zan_import(jsoncpp libjsoncpp-dev json/json.h jsoncpp jsoncpp)
zan_import(curl libcurl4-openssl-dev curl/curl.h "" curl)
