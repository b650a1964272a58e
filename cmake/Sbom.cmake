# The module's bill of materials, made whenever the module is linked: see WriteSbom.cmake.

# zan_version_in(<variable> <header below the include folder of a library's target> <regular expression>)
function(zan_version_in variable target header pattern)
  set(${variable} "" PARENT_SCOPE)
  file(GLOB headers ${ZAN_${target}_INCLUDE_DIR}/${header} ${ZAN_${target}_INCLUDE_DIR}/${CMAKE_LIBRARY_ARCHITECTURE}/${header})
  foreach(file IN LISTS headers)
    file(STRINGS ${file} line REGEX "${pattern}" LIMIT_COUNT 1)
    if(line MATCHES "\"([^\"]+)\"")
      set(${variable} ${CMAKE_MATCH_1} PARENT_SCOPE)
    endif()
  endforeach()
endfunction()
zan_version_in(netsnmp_version netsnmpagent net-snmp/net-snmp-config.h "^#define PACKAGE_VERSION ")
zan_version_in(jsoncpp_version jsoncpp json/version.h "define JSONCPP_VERSION_STRING ")
zan_version_in(curl_version curl curl/curlver.h "^#define LIBCURL_VERSION ")
set(gcc_version "")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(gcc_version ${CMAKE_CXX_COMPILER_VERSION})
endif()

set(static "")
if(ZAN_jsoncpp_LIBRARY MATCHES "\\.a$")
  list(APPEND static jsoncpp)
endif()
if(ZAN_STATIC_LIBSTDCXX)
  list(APPEND static gcc)
endif()
# The prefix decides nothing here, nor does the machine that builds: the same sources give the same bytes.
string(REGEX MATCH "^[^<]*[^< ]" maintainer_name "${ZAN_PACKAGE_MAINTAINER}")
string(REGEX MATCH "[^<]+@[^>]+" maintainer_address "${ZAN_PACKAGE_MAINTAINER}")
string(REGEX MATCH "[^@]+$" maintainer_host "${maintainer_address}")
set(settings ${PROJECT_BINARY_DIR}/sbom/settings.cmake)
configure_file(${CMAKE_CURRENT_LIST_DIR}/SbomSettings.cmake.in ${settings} @ONLY)

find_program(ZAN_READELF NAMES ${CMAKE_READELF} readelf llvm-readelf REQUIRED)
mark_as_advanced(ZAN_READELF)

set(spdx ${PROJECT_BINARY_DIR}/sbom/zansnmpext.spdx.json)
set(cyclonedx ${PROJECT_BINARY_DIR}/sbom/zansnmpext.cdx.json)
add_custom_command(OUTPUT ${spdx} ${cyclonedx}
  COMMAND ${CMAKE_COMMAND} -DSETTINGS=${settings} -DMODULE=$<TARGET_FILE:zansnmpext> -DREADELF=${ZAN_READELF}
    -DSPDX=${spdx} -DCYCLONEDX=${cyclonedx} -P ${CMAKE_CURRENT_LIST_DIR}/WriteSbom.cmake
  DEPENDS zansnmpext ${settings} ${CMAKE_CURRENT_LIST_DIR}/WriteSbom.cmake
  COMMENT "Writing the bill of materials" VERBATIM)
add_custom_target(sbom ALL DEPENDS ${spdx} ${cyclonedx})
install(FILES ${spdx} ${cyclonedx} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT agent)
