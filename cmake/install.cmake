# What cmake --install puts where. Components: daemon, tools, preview (the virtual router's programs), router, dev, doc.
# What belongs to router/ says so there, with COMPONENT router.
include(CMakePackageConfigHelpers)
option(TIME_CHECK_SERVICES "install what starts the daemon: units, an init script" ON)

set(data ${CMAKE_INSTALL_DATADIR}/time_check)

# ---- programs ----

install(TARGETS time_check RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
if(TARGET tcctl)
    install(TARGETS cfm tcctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(FILES packaging/prometheus/time_check.rules.yml DESTINATION ${data}/prometheus COMPONENT tools)
endif()
if(TARGET tcctl-preview)
    install(TARGETS tcctl-preview tcctl-fleet
        RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/time_check COMPONENT preview)
endif()

if(TIME_CHECK_SERVICES AND TIME_CHECK_PLATFORM STREQUAL "linux")
    include(cmake/install_services.cmake)
endif()

# ---- manual pages ----

# install_pages(COMPONENT PAGE...)
function(install_pages component)
    foreach(page IN LISTS ARGN)
        cmake_path(GET page EXTENSION LAST_ONLY section)
        string(SUBSTRING ${section} 1 1 section)
        install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
    endforeach()
endfunction()

file(GLOB of_daemon CONFIGURE_DEPENDS docs/man/*.[578])
file(GLOB of_tools CONFIGURE_DEPENDS docs/man/cfm.1 docs/man/tcctl.1)
file(GLOB of_preview CONFIGURE_DEPENDS docs/man/tcctl-*.1)
file(GLOB of_dev CONFIGURE_DEPENDS docs/man/time_check-porting.7)
list(REMOVE_ITEM of_daemon ${of_dev} "")
install_pages(daemon ${of_daemon})
install_pages(tools ${of_tools})
install_pages(preview ${of_preview})
install_pages(dev ${of_dev})

# ---- the integrator's ----

# Sources and no library: a firmware's compiler is not this machine's (decision 0187). A ground may take units of the plain-Linux one.
set(source ${data}/src)
install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/time_check/platform COMPONENT dev
    FILES_MATCHING PATTERN *.h PATTERN *.def
    PATTERN common EXCLUDE PATTERN linux EXCLUDE PATTERN sim EXCLUDE)
install(DIRECTORY cmake time_check DESTINATION ${source} COMPONENT dev PATTERN install*.cmake EXCLUDE)
install(DIRECTORY platform DESTINATION ${source} COMPONENT dev
    PATTERN sim EXCLUDE PATTERN *.md EXCLUDE)
install(FILES CMakeLists.txt DESTINATION ${source} COMPONENT dev)
install(FILES tests/porting/stub_ground.c DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT dev)

set(package ${CMAKE_INSTALL_DATADIR}/cmake/time_check)
configure_package_config_file(packaging/cmake/time_check-config.cmake.in time_check-config.cmake
    INSTALL_DESTINATION ${package} PATH_VARS CMAKE_INSTALL_INCLUDEDIR source)
write_basic_package_version_file(time_check-config-version.cmake COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
install(FILES
    ${PROJECT_BINARY_DIR}/time_check-config.cmake
    ${PROJECT_BINARY_DIR}/time_check-config-version.cmake
    packaging/cmake/no_ground.cmake
    DESTINATION ${package} COMPONENT dev)

# The file finds the rest from where it lies, so that another prefix at the installation is no matter.
set(pc_folder ${CMAKE_INSTALL_DATADIR}/pkgconfig)
foreach(name IN ITEMS INCLUDEDIR DATADIR)
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_${name}
        BASE_DIRECTORY ${CMAKE_INSTALL_FULL_DATADIR}/pkgconfig OUTPUT_VARIABLE ${name}_from_pc)
endforeach()
configure_file(packaging/cmake/time_check.pc.in time_check.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/time_check.pc DESTINATION ${pc_folder} COMPONENT dev)

# ---- documents ----

install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc PATTERN man EXCLUDE)
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
