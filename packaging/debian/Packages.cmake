# Four Debian packages out of one build: cmake --build <build> --target package.

# Debian's name of the architecture that is built for.
find_program(ZAN_DPKG_ARCHITECTURE dpkg-architecture)
mark_as_advanced(ZAN_DPKG_ARCHITECTURE)
if(NOT ZAN_DPKG_ARCHITECTURE OR NOT CMAKE_LIBRARY_ARCHITECTURE OR CMAKE_VERSION VERSION_LESS 3.21)
  message(STATUS "No dpkg-architecture here, or an old CMake, or not Debian that is built for: "
    "no target for Debian packages")
  return()
endif()
execute_process(
  COMMAND ${ZAN_DPKG_ARCHITECTURE} -f -t ${CMAKE_LIBRARY_ARCHITECTURE} -q DEB_HOST_ARCH
  OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

# Packages of different enterprise numbers are different: the number is part of the version.
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION}+pen${ZAN_ENTERPRISE_NUMBER})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(debian_version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zansnmpext)
set(CPACK_PACKAGE_CONTACT ${ZAN_PACKAGE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/debian/FolderModes.cmake)
configure_file(debian/PackageHeaders.cmake.in PackageHeaders.cmake @ONLY)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_BINARY_DIR}/PackageHeaders.cmake)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL agent host manager simulator)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

# The router's package.
set(CPACK_DEBIAN_AGENT_PACKAGE_NAME zansnmpext)
set(CPACK_COMPONENT_AGENT_DESCRIPTION
"module of snmpd that serves a cellular router's MIB
The module adds a cellular router's own objects to the SNMP agent: identity,
WAN manager, radio, cellular, Ethernet and wireless interfaces, services,
tunnels, routes and more, read on demand from the router's local management
API. Events that the router's processes post become notifications.

It was built for the enterprise number ${ZAN_ENTERPRISE_NUMBER}.")
set(CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS snmpd)
set(CPACK_DEBIAN_AGENT_PACKAGE_RECOMMENDS "zansnmpext-mib (= ${debian_version})")
set(CPACK_DEBIAN_AGENT_PACKAGE_SUGGESTS snmp)
if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps reads the target's package database, which a cross build does not have. These are the names of
  # Debian 12.
  string(APPEND CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS ", libc6, libcurl4, libgcc-s1, libjsoncpp25, libsnmp40, libstdc++6")
else()
  set(CPACK_DEBIAN_AGENT_PACKAGE_SHLIBDEPS ON)
endif()

# The switch from the agent that loads the module to the host that does.
set(CPACK_DEBIAN_HOST_PACKAGE_NAME zansnmpext-host)
set(CPACK_COMPONENT_HOST_DESCRIPTION
"hosted mode of snmpd's module for a cellular router's MIB
While this package is installed, the module of the package zansnmpext runs
in a process of its own, an AgentX subagent of snmpd with a user of its own
and no network: the agent answers whatever the router's API does.

It was built for the enterprise number ${ZAN_ENTERPRISE_NUMBER}.")
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "adduser, zansnmpext (= ${debian_version})")
if(CMAKE_CROSSCOMPILING)
  string(APPEND CPACK_DEBIAN_HOST_PACKAGE_DEPENDS ", libc6, libgcc-s1, libsnmp40, libstdc++6")
else()
  set(CPACK_DEBIAN_HOST_PACKAGE_SHLIBDEPS ON)
endif()

# The managers' package.
set(CPACK_DEBIAN_MANAGER_PACKAGE_NAME zansnmpext-mib)
set(CPACK_DEBIAN_MANAGER_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_MANAGER_DESCRIPTION
"MIB of a cellular router and the means to monitor it
What a manager of routers with the package zansnmpext needs: the MIB module
ZAN-SNMPEXT-MIB, a description of all objects, and ready parts for
monitoring.

It was made for the enterprise number ${ZAN_ENTERPRISE_NUMBER}.")
set(CPACK_DEBIAN_MANAGER_PACKAGE_SUGGESTS "snmp, snmptrapd, prometheus-snmp-exporter")

# The simulator, for machines that are no router.
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME zansnmpext-sim)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_SIMULATOR_DESCRIPTION
"simulator of a cellular router's local management API
It answers the package zansnmpext in a router's place, from a file that may
be edited meanwhile: for trying out and testing, with faults on request.")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "python3:any")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_RECOMMENDS zansnmpext)

# Debian's changelog of the package, which only dates it and points to the real one.
execute_process(COMMAND date -u -R -d ${ZAN_RELEASE_DATE}
  OUTPUT_VARIABLE debian_date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND date -u +%s -d ${ZAN_RELEASE_DATE}
  OUTPUT_VARIABLE ZAN_RELEASE_EPOCH OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(changelog_dir ${CMAKE_CURRENT_BINARY_DIR}/changelog)
file(WRITE ${changelog_dir}/changelog.Debian "zansnmpext (${debian_version}) unstable; urgency=medium

  * Version ${PROJECT_VERSION} for the enterprise number ${ZAN_ENTERPRISE_NUMBER}.
    The changes are in changelog.gz.

 -- ${ZAN_PACKAGE_MAINTAINER}  ${debian_date}
")
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${changelog_dir}/changelog COPYONLY)
zan_gzip(${changelog_dir}/changelog.Debian)
zan_gzip(${changelog_dir}/changelog)

# zan_package_files(<component>): what every package has, and the maintainer scripts of those that have some.
function(zan_package_files component)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/debian/copyright
    ${changelog_dir}/changelog.Debian.gz ${changelog_dir}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/debian/${package}.lintian-overrides)
    install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/debian/${package}.lintian-overrides
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package} COMPONENT ${component})
  endif()
endfunction()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  zan_package_files(${component})
endforeach()

file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/conffiles "/etc/zansnmpext/snmpd.conf\n")
set(CPACK_DEBIAN_AGENT_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm
  ${CMAKE_CURRENT_BINARY_DIR}/conffiles)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/host/conffiles
  "/etc/init.d/zansnmpext-host\n/etc/zansnmpext/host.conf\n/etc/zansnmpext/master.conf\n")
set(CPACK_DEBIAN_HOST_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/host/postinst
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/host/prerm
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/host/postrm
  ${CMAKE_CURRENT_BINARY_DIR}/host/conffiles)

configure_file(debian/CPackOptions.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/CPackOptions.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/CPackOptions.cmake)

include(CPack)
