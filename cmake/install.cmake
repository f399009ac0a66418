# `cmake --install`: headers, libraries, console, NETCONF server, pkg-config file and CMake package.
include(CMakePackageConfigHelpers)

foreach(target netconf_dm_agent zu-thread zu-platform)
  target_include_directories(${target} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/netconf_dm_agent>)
endforeach()

install(TARGETS netconf_dm_agent zu-thread zu-platform
  EXPORT netconf_dm_agent
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET ncdm-console)
  install(TARGETS ncdm-console RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(TARGET ncdm-netconf)
  install(TARGETS ncdm-netconf RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY include/ platform/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/netconf_dm_agent
  FILES_MATCHING PATTERN "*.h")

install(EXPORT netconf_dm_agent
  FILE netconf_dm_agentTargets.cmake
  NAMESPACE netconf_dm_agent::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/netconf_dm_agent)
configure_package_config_file(cmake/netconf_dm_agentConfig.cmake.in
  ${PROJECT_BINARY_DIR}/netconf_dm_agentConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/netconf_dm_agent)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/netconf_dm_agentConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
configure_file(cmake/netconf_dm_agent.pc.in ${PROJECT_BINARY_DIR}/netconf_dm_agent.pc @ONLY)
install(FILES
  ${PROJECT_BINARY_DIR}/netconf_dm_agentConfig.cmake
  ${PROJECT_BINARY_DIR}/netconf_dm_agentConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/netconf_dm_agent)
install(FILES ${PROJECT_BINARY_DIR}/netconf_dm_agent.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

file(GLOB manuals CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.[13])
foreach(manual IN LISTS manuals)
  string(REGEX MATCH "[0-9]$" section ${manual})
  install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
