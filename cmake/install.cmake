# What cmake --install puts where. Components: daemon, tools, preview (the virtual router's programs), router, dev, doc.
# What belongs to router/ says so there, with COMPONENT router.
include(CMakePackageConfigHelpers)
option(TIME_CHECK_SERVICES "install what starts the daemon: units, an init script" ON)

set(data ${CMAKE_INSTALL_DATADIR}/time_check)

# ---- programs ----

install(TARGETS time_check RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
install(FILES packaging/home-router.conf DESTINATION ${data}/examples COMPONENT daemon)
if(TARGET tcctl)
    install(TARGETS cfm tcctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(FILES packaging/prometheus/time_check.rules.yml DESTINATION ${data}/prometheus COMPONENT tools)
endif()
if(TARGET tcctl-record)
    install(TARGETS tcctl-record RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/time_check COMPONENT tools)
endif()
if(TARGET tcctl-preview)
    install(TARGETS tcctl-preview tcctl-fleet
        RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/time_check COMPONENT preview)
endif()

if(TIME_CHECK_SERVICES AND TIME_CHECK_PLATFORM STREQUAL "linux")
    include(cmake/install_services.cmake)
endif()

# ---- manual pages and completion ----

# install_with_program(FILE FOLDER): in the component of the program, or of what else the page is about
function(install_with_program file folder)
    cmake_path(GET file STEM name)
    if(name MATCHES "^_?tcctl-(preview|replay|fleet)")
        set(component preview)
    elseif(name MATCHES "^_?(cfm|tcctl)")
        set(component tools)
    elseif(name MATCHES "netctrl|dhttpd")
        set(component router)
    elseif(name MATCHES "porting")
        set(component dev)
    else()
        set(component daemon)
    endif()
    install(FILES ${file} DESTINATION ${folder} COMPONENT ${component})
endfunction()

file(GLOB pages CONFIGURE_DEPENDS docs/man/*.[1-8])
foreach(page IN LISTS pages)
    string(REGEX MATCH "[1-8]$" section ${page})
    install_with_program(${page} ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
set(folder_for_bash bash-completion/completions)
set(folder_for_fish fish/vendor_completions.d)
set(folder_for_zsh zsh/site-functions)
foreach(shell IN ITEMS bash fish zsh)
    file(GLOB files CONFIGURE_DEPENDS packaging/completion/${shell}/*)
    foreach(file IN LISTS files)
        install_with_program(${file} ${CMAKE_INSTALL_DATADIR}/${folder_for_${shell}})
    endforeach()
endforeach()

# ---- the integrator's ----

# Sources and no library: a firmware's compiler is not this machine's (decision 0187). A ground may take units of the plain-Linux one.
set(source ${data}/src)
install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/time_check/platform COMPONENT dev
    FILES_MATCHING PATTERN *.h PATTERN *.def
    PATTERN common EXCLUDE PATTERN linux EXCLUDE PATTERN sim EXCLUDE PATTERN trace EXCLUDE)
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
