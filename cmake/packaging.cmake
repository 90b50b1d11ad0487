# The Debian packages, the program's and its debug symbols', by "cpack -G DEB" (see ./dev package): all that is the
# node's own under /opt/vos, the rest where the system's programs look for it.

set(package_files ${CMAKE_BINARY_DIR}/package)
set(packaging ${CMAKE_SOURCE_DIR}/packaging)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME program)

# gzipped(NAME SOURCE): the file NAME, compressed without its time stamp.
function(gzipped name source)
  add_custom_command(OUTPUT ${package_files}/${name}
    COMMAND gzip -9nc ${source} > ${package_files}/${name} DEPENDS ${source})
  set_property(GLOBAL APPEND PROPERTY package_files ${package_files}/${name})
endfunction()

# The first configuration is the example without what is different on each
# node: those keys are comments, for the installation to fill in. An upgrade
# merges with it, so no value of the example may stand there.
file(READ ${CMAKE_SOURCE_DIR}/examples/vos.conf template)
string(REGEX REPLACE "\n *(vos_id|vos_public_ip|datacenter_id|zel_report_url|hmac_secret) = [^\n]*"
  "\n    // \\1 = \"\";" template "${template}")
file(CONFIGURE OUTPUT ${package_files}/vos.conf CONTENT "${template}" @ONLY)

set(man_pages vos_monitor.8 vos_watchdog.8 vosctl.8 vos.conf.5)
foreach(page ${man_pages})
  configure_file(${packaging}/man/${page} ${package_files}/${page} @ONLY)
  gzipped(${page}.gz ${package_files}/${page})
  string(REGEX MATCH "[0-9]$" section ${page})
  install(FILES ${package_files}/${page}.gz DESTINATION usr/share/man/man${section})
endforeach()
gzipped(changelog.gz ${packaging}/debian/changelog)
get_property(compressed GLOBAL PROPERTY package_files)
add_custom_target(package_files ALL DEPENDS ${compressed})

set(doc usr/share/doc/vos-monitor)
install(TARGETS vos_monitor vos_watchdog vosctl DESTINATION opt/vos/bin)
install(FILES ${package_files}/vos.conf ${CMAKE_SOURCE_DIR}/examples/log4cpp.properties
  DESTINATION opt/vos/share)
install(FILES ${packaging}/vos-monitor.service DESTINATION lib/systemd/system)
install(FILES ${packaging}/vos-monitor.logrotate DESTINATION etc/logrotate.d RENAME vos-monitor)
install(FILES ${packaging}/vosctl.bash-completion
  DESTINATION usr/share/bash-completion/completions RENAME vosctl)
install(FILES ${packaging}/debian/copyright ${package_files}/changelog.gz DESTINATION ${doc})
install(FILES ${CMAKE_SOURCE_DIR}/examples/vos.conf DESTINATION ${doc}/examples)
install(FILES ${packaging}/debian/lintian-overrides
  DESTINATION usr/share/lintian/overrides RENAME vos-monitor)
# The operator's command, in the path and where its completion expects it.
file(CREATE_LINK /opt/vos/bin/vosctl ${package_files}/vosctl SYMBOLIC)
install(FILES ${package_files}/vosctl DESTINATION usr/sbin)

# The debug symbols, under the name by which debuggers look for them.
foreach(program vos_monitor vos_watchdog vosctl)
  install(CODE "include(${CMAKE_SOURCE_DIR}/cmake/install_symbols.cmake)
    install_symbols($<TARGET_FILE:${program}> ${CMAKE_OBJCOPY})" COMPONENT symbols)
endforeach()
install(FILES ${packaging}/debian/copyright ${package_files}/changelog.gz
  DESTINATION ${doc}-dbgsym COMPONENT symbols)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL program symbols)
set(CPACK_PACKAGING_INSTALL_PREFIX /)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "vos_monitor developers <packages@vos-monitor.example>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME vos-monitor)
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "health monitor of a network node
Once a period it builds one report of the node's processes, CPU, memory,
descriptors and network interfaces, keeps a local copy and posts it, signed,
to a management server over HTTPS. A supervisor keeps the daemon running;
vosctl is the operator's command.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "procps, debconf (>= 0.5) | debconf-2.0")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS logrotate)
file(CONFIGURE OUTPUT ${package_files}/conffiles CONTENT "/etc/logrotate.d/vos-monitor\n" @ONLY)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA ${package_files}/conffiles)
foreach(script config templates postinst prerm postrm)
  list(APPEND CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA ${packaging}/debian/${script})
endforeach()

set(CPACK_DEBIAN_SYMBOLS_PACKAGE_NAME vos-monitor-dbgsym)
set(CPACK_COMPONENT_SYMBOLS_DESCRIPTION "debug symbols for vos-monitor
A debugger finds them by itself. They show functions and lines in a core dump
of vos_monitor, vos_watchdog or vosctl, and in a trace of the running daemon.")
set(CPACK_DEBIAN_SYMBOLS_PACKAGE_SECTION debug)
set(CPACK_DEBIAN_SYMBOLS_PACKAGE_DEPENDS "vos-monitor (= ${PROJECT_VERSION})")
include(CPack)
