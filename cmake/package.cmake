# `cpack -G DEB`: a package for each component of the installation. scripts/package.sh builds and tries them.
set(soversion ${PROJECT_VERSION_MAJOR})
set(package_library libnetconf-dm-agent${soversion})
set(package_model libncdm-model${soversion})
set(package_dev libnetconf-dm-agent-dev)
set(package_tools netconf-dm-agent-tools)
set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(packaged ${PROJECT_BINARY_DIR}/packaging)
set(components library dev tools)
if(component_libraries_model)
  list(APPEND components model)
endif()

# Every package has its copyright and changelog, and manual pages are compressed, as Debian wants them.
find_program(NCDM_GZIP gzip)
if(NCDM_GZIP)
  file(MAKE_DIRECTORY ${packaged})
  execute_process(COMMAND ${NCDM_GZIP} -9nc ${packaging}/changelog OUTPUT_FILE ${packaged}/changelog.gz)
  foreach(component IN LISTS components)
    set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package_${component}})
    install(FILES ${packaging}/copyright ${packaged}/changelog.gz
      DESTINATION ${folder} COMPONENT ${component} EXCLUDE_FROM_ALL)
  endforeach()
endif()
set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package_dev})
install(FILES README.md docs/guide.md docs/protocol.md docs/porting.md docs/architecture.md docs/log.md
  DESTINATION ${documents} COMPONENT dev EXCLUDE_FROM_ALL)
install(DIRECTORY examples/minimal examples/epoll examples/port examples/access-point
  DESTINATION ${documents}/examples COMPONENT dev EXCLUDE_FROM_ALL)
set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package_tools})
install(FILES docs/netconf.md DESTINATION ${documents} COMPONENT tools EXCLUDE_FROM_ALL)
install(DIRECTORY examples/fleet DESTINATION ${documents}/examples COMPONENT tools EXCLUDE_FROM_ALL)
install(FILES examples/vlans/demo-vlans.yang
  DESTINATION ${documents}/examples/vlans COMPONENT tools EXCLUDE_FROM_ALL)

# The symbols go into the control part of the packages with libraries.
file(WRITE ${packaged}/triggers "activate-noawait ldconfig\n")
add_custom_target(package-symbols)
foreach(component library model)
  set(targets ${component_libraries_${component}})
  if(NOT targets)
    continue()
  endif()
  set(files ${targets})
  list(TRANSFORM files PREPEND "$<TARGET_FILE:")
  list(TRANSFORM files APPEND ">")
  set(symbols ${packaged}/${component}/symbols)
  add_custom_command(OUTPUT ${symbols}
    COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DPACKAGE=${package_${component}} -DVERSION=${PROJECT_VERSION}
      "-DLIBRARIES=${files}" -DOUTPUT=${symbols} -P ${packaging}/write_symbols.cmake
    DEPENDS ${targets} ${packaging}/write_symbols.cmake
    VERBATIM)
  add_custom_target(package-symbols-${component} DEPENDS ${symbols})
  add_dependencies(package-symbols package-symbols-${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME netconf-dm-agent)
set(CPACK_PACKAGE_VENDOR "the authors of netconf_dm_agent")
# There is no public address yet: this one stands in for it.
set(CPACK_PACKAGE_CONTACT "The authors of netconf_dm_agent <netconf-dm-agent@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${packaging}/compress_manual.cmake)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${package_library})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${packaged}/library/symbols ${packaged}/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "NETCONF data-model agent for device applications
A process on a network device links this library to expose its configuration
and state to the device's NETCONF server. It registers its data model with
callbacks; the library serves the server's edits, filters and look-ups.

This package has the shared library and the Linux port of its platform.")

set(CPACK_DEBIAN_MODEL_PACKAGE_NAME ${package_model})
set(CPACK_DEBIAN_MODEL_PACKAGE_SECTION libs)
# It is not found by its libraries: those of the build are of no package yet.
set(CPACK_DEBIAN_MODEL_PACKAGE_DEPENDS "${package_library} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_MODEL_PACKAGE_CONTROL_EXTRA ${packaged}/model/symbols ${packaged}/triggers)
set(CPACK_DEBIAN_MODEL_DESCRIPTION "NETCONF data-model agent: libraries of generated applications
What an application links that ncdm-yang wrote from a YANG module: the engine
that serves the module's data and checks its values, and its patterns.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${package_dev})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${package_library} (= ${PROJECT_VERSION})")
if(component_libraries_model)
  string(APPEND CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ", ${package_model} (= ${PROJECT_VERSION})")
endif()
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEV_DESCRIPTION "NETCONF data-model agent: development files
Headers, pkg-config file, CMake package, manual pages and examples for
applications that expose their configuration and state over NETCONF.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${package_tools})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS adduser)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "${package_dev}, openssh-client")
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA
  ${packaging}/postinst ${packaging}/prerm ${packaging}/postrm)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "NETCONF data-model agent: programs
The NETCONF server over the applications of a device, with its unit file;
the console that talks to them instead; and the generator that writes an
application from a YANG module.")
include(CPack)
