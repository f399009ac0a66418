# `cmake --install`, in four components: library (the shared libraries), model (those that generated applications link
# besides, which need libstdc++ and PCRE2), dev (headers, pkg-config file, CMake package, section 3 of the manual) and
# tools (the programs, section 1). `uninstall` takes it all off again.
include(CMakePackageConfigHelpers)

set(component_libraries_library netconf_dm_agent zu-thread zu-platform)
set(component_libraries_model "")
if(TARGET ncdm-yang)
  set(component_libraries_model ncdm-model ncdm-model-pattern)
endif()
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/netconf_dm_agent)

foreach(component library model)
  foreach(target IN LISTS component_libraries_${component})
    target_include_directories(${target} INTERFACE
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/netconf_dm_agent>)
    install(TARGETS ${target}
      EXPORT netconf_dm_agent
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT dev)
  endforeach()
endforeach()

install(DIRECTORY include/ platform/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/netconf_dm_agent
  COMPONENT dev
  FILES_MATCHING PATTERN "*.h")
if(TARGET ncdm-yang)
  install(FILES yang/runtime/ncdm_model.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/netconf_dm_agent COMPONENT dev)
  install(FILES yang/ncdm-extensions.yang DESTINATION ${CMAKE_INSTALL_DATADIR}/yang COMPONENT tools)
endif()

# The build tree is a package too: what ncdm-yang writes from there finds the libraries there.
export(EXPORT netconf_dm_agent
  FILE ${PROJECT_BINARY_DIR}/netconf_dm_agentTargets.cmake
  NAMESPACE netconf_dm_agent::)
install(EXPORT netconf_dm_agent
  FILE netconf_dm_agentTargets.cmake
  NAMESPACE netconf_dm_agent::
  DESTINATION ${package_dir}
  COMPONENT dev)
configure_package_config_file(cmake/netconf_dm_agentConfig.cmake.in
  ${PROJECT_BINARY_DIR}/netconf_dm_agentConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/netconf_dm_agentConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/netconf_dm_agentConfig.cmake
  ${PROJECT_BINARY_DIR}/netconf_dm_agentConfigVersion.cmake
  DESTINATION ${package_dir}
  COMPONENT dev)

# The prefix is known when something is installed: --prefix may name another than the one configured.
configure_file(cmake/install_pc.cmake.in ${PROJECT_BINARY_DIR}/install_pc.cmake @ONLY)
install(SCRIPT ${PROJECT_BINARY_DIR}/install_pc.cmake COMPONENT dev)

foreach(tool ncdm-console ncdm-netconf ncdm-yang)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
endforeach()

# Pages of a program that is not built stay away.
file(GLOB manuals CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.[13])
foreach(manual IN LISTS manuals)
  cmake_path(GET manual STEM page)
  if(manual MATCHES "1$" AND TARGET ${page})
    install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  elseif(manual MATCHES "3$")
    install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT dev)
  endif()
endforeach()

# Where systemd looks for what packages bring; -DNCDM_SYSTEMD_DIR= leaves both files out.
set(NCDM_SYSTEMD_DIR lib CACHE STRING "Folder of systemd/system and tmpfiles.d, below the prefix")
if(TARGET ncdm-netconf AND NCDM_SYSTEMD_DIR)
  install(FILES docs/ncdm-netconf.service DESTINATION ${NCDM_SYSTEMD_DIR}/systemd/system COMPONENT tools)
  install(FILES packaging/ncdm-netconf.conf DESTINATION ${NCDM_SYSTEMD_DIR}/tmpfiles.d COMPONENT tools)
endif()

configure_file(cmake/uninstall.cmake.in ${PROJECT_BINARY_DIR}/uninstall.cmake @ONLY)
if(NOT TARGET uninstall)
  add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -P ${PROJECT_BINARY_DIR}/uninstall.cmake)
endif()
