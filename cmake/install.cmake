# `cmake --install`: headers, libraries, console, NETCONF server, pkg-config file and CMake package.
include(CMakePackageConfigHelpers)

set(ncdm_libraries netconf_dm_agent zu-thread zu-platform)
if(TARGET ncdm-yang)
  list(APPEND ncdm_libraries ncdm-model ncdm-model-pattern)
endif()
foreach(target IN LISTS ncdm_libraries)
  target_include_directories(${target} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/netconf_dm_agent>)
endforeach()

install(TARGETS ${ncdm_libraries}
  EXPORT netconf_dm_agent
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET ncdm-console)
  install(TARGETS ncdm-console RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(TARGET ncdm-netconf)
  install(TARGETS ncdm-netconf RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(TARGET ncdm-yang)
  install(TARGETS ncdm-yang RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES yang/runtime/ncdm_model.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/netconf_dm_agent)
  install(FILES yang/ncdm-extensions.yang DESTINATION ${CMAKE_INSTALL_DATADIR}/yang)
endif()
install(DIRECTORY include/ platform/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/netconf_dm_agent
  FILES_MATCHING PATTERN "*.h")

install(EXPORT netconf_dm_agent
  FILE netconf_dm_agentTargets.cmake
  NAMESPACE netconf_dm_agent::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/netconf_dm_agent)
# The build tree is a package too: what ncdm-yang writes from there finds the libraries there.
export(EXPORT netconf_dm_agent
  FILE ${PROJECT_BINARY_DIR}/netconf_dm_agentTargets.cmake
  NAMESPACE netconf_dm_agent::)
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
