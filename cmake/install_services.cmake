# What starts the daemon on a plain Linux router. The files name programs as in a package, below /usr; installed below
# another prefix they name them there. What systemd does not look for below a prefix is for copying.
set(services ${PROJECT_BINARY_DIR}/services)

# rewrite_on_install(COMPONENT FILE...): each lies in the folder of services then, with the names of this installation
function(rewrite_on_install component)
    install(CODE "
        set(bin \${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR})
        foreach(file IN ITEMS ${ARGN})
            file(READ \"${PROJECT_SOURCE_DIR}/\${file}\" text)
            string(REPLACE /usr/sbin/time_check \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SBINDIR}/time_check\" text \"\${text}\")
            string(REPLACE /usr/libexec/time_check \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBEXECDIR}/time_check\" text \"\${text}\")
            foreach(program IN ITEMS cfm tcctl)
                string(REPLACE /usr/bin/\${program} \"\${bin}/\${program}\" text \"\${text}\")
            endforeach()
            if(NOT bin MATCHES \"^(/usr(/local)?)/bin\$\") # where the daemon finds cfm
                string(REPLACE /usr/local/sbin \"\${bin}:/usr/local/sbin\" text \"\${text}\")
            endif()
            file(WRITE \"${services}/\${file}\" \"\${text}\")
        endforeach()" COMPONENT ${component})
endfunction()

rewrite_on_install(daemon
    packaging/systemd/time_check.service
    packaging/systemd/time_check-leds.service
    packaging/systemd/time_check-alarms.service
    packaging/sysv/time_check)
install(DIRECTORY ${services}/packaging/systemd/ DESTINATION lib/systemd/system COMPONENT daemon)
install(FILES packaging/sysusers.d/time_check.conf DESTINATION lib/sysusers.d COMPONENT daemon)
install(FILES packaging/tmpfiles.d/time_check.conf DESTINATION lib/tmpfiles.d COMPONENT daemon)
install(PROGRAMS ${services}/packaging/sysv/time_check DESTINATION ${data}/init.d COMPONENT daemon)
install(FILES packaging/rt_tables.d/time_check.conf DESTINATION ${data}/rt_tables.d COMPONENT daemon)

if(TARGET netctrl)
    rewrite_on_install(router
        router/systemd/time_check-netctrl.service
        router/systemd/time_check-dhttpd.service
        router/systemd/time_check-fault-names.service
        router/systemd/time_check-networkd-watch.service
        router/systemd/time_check-pppd-watch.service
        router/systemd/time_check.service.d/router.conf)
    install(DIRECTORY ${services}/router/systemd/ DESTINATION lib/systemd/system COMPONENT router)
    install(FILES router/systemd/dhcpcd.service.d/time_check.conf
        DESTINATION lib/systemd/system/dhcpcd.service.d COMPONENT router)
    install(FILES router/router.conf DESTINATION ${data}/examples COMPONENT router)
endif()
