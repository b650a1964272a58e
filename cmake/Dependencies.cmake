# The three libraries that the module calls, as imported targets. They are searched for as plain headers and
# libraries: that works the same natively and in a cross build's sysroot, with no pkg-config of the target.

# zan_import(<target> <header> <include suffixes> <library>...): zan::<target> with those libraries.
function(zan_import target header suffixes)
  find_path(ZAN_${target}_INCLUDE_DIR ${header} PATH_SUFFIXES ${suffixes} REQUIRED)
  mark_as_advanced(ZAN_${target}_INCLUDE_DIR)
  add_library(zan::${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(zan::${target} SYSTEM INTERFACE ${ZAN_${target}_INCLUDE_DIR})
  foreach(library IN LISTS ARGN)
    find_library(ZAN_${library}_LIBRARY ${library} REQUIRED)
    mark_as_advanced(ZAN_${library}_LIBRARY)
    target_link_libraries(zan::${target} INTERFACE ${ZAN_${library}_LIBRARY})
  endforeach()
endfunction()

zan_import(netsnmpagent net-snmp/net-snmp-config.h "" netsnmpagent netsnmp)
zan_import(jsoncpp json/json.h jsoncpp jsoncpp)
zan_import(curl curl/curl.h "" curl)
