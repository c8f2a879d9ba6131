SUMMARY = "Nightly restart, schedules and watchdogs of a home router"
DESCRIPTION = "Restarts a Wi-Fi router at night once nobody uses the network, switches Wi-Fi and LEDs off and on by \
the week, closes the guest network when its time is up, looks after programs, and tries whether each WAN really leads \
to the internet."
SECTION = "net"
# The project states no licence. This is the word for sources that are not to be passed on.
LICENSE = "CLOSED"

inherit cmake externalsrc systemd

EXTERNALSRC = "${TIME_CHECK_SOURCE}"

# Instead of the plain-Linux ground a CMake file of your own (docs/porting.md); it then brings cfm, too.
TIME_CHECK_GROUND ?= "linux"
TIME_CHECK_COMPONENTS = "daemon ${@'tools' if d.getVar('TIME_CHECK_GROUND') == 'linux' else ''}"

DEPENDS = "${@'cli11 fmt libmnl lmdb nlohmann-json' if d.getVar('TIME_CHECK_GROUND') == 'linux' else ''}"

EXTRA_OECMAKE = "\
    -DTIME_CHECK_PLATFORM=${TIME_CHECK_GROUND} \
    -DTIME_CHECK_SERVICES=${@bb.utils.contains('DISTRO_FEATURES', 'systemd', 'ON', 'OFF', d)} \
    -DTIME_CHECK_TESTS=OFF \
    -DTIME_CHECK_BENCH=OFF \
    -DTIME_CHECK_PREVIEW=OFF \
"

# Not what integrators get. Units go where this distribution has them.
do_install() {
    for part in ${TIME_CHECK_COMPONENTS}; do
        DESTDIR=${D} cmake --install ${B} --prefix ${prefix} --component $part
    done
    if [ -d ${D}${prefix}/lib/systemd/system ] && [ ${prefix}/lib/systemd/system != ${systemd_system_unitdir} ]; then
        install -d ${D}${systemd_system_unitdir}
        mv ${D}${prefix}/lib/systemd/system/* ${D}${systemd_system_unitdir}/
        rmdir ${D}${prefix}/lib/systemd/system
    fi
    install -D -m 0644 ${S}/packaging/rt_tables.d/time_check.conf \
        ${D}${sysconfdir}/iproute2/rt_tables.d/time_check.conf
}

SYSTEMD_SERVICE:${PN} = "time_check.service time_check-leds.service"
FILES:${PN} += "${prefix}/lib/sysusers.d ${prefix}/lib/tmpfiles.d ${datadir}"
RDEPENDS:${PN} = "iproute2 iptables nftables procps psmisc"
