// Settings with which every part of the daemon has something to do. No tests are known here: fuzz targets use them,
// too.
#ifndef TESTS_SUPPORT_BUSY_SETTINGS_H
#define TESTS_SUPPORT_BUSY_SETTINGS_H

#include <utility>

inline constexpr std::pair<const char *, const char *> BUSY_SETTINGS[] = {
    {"sys.schedulereboot.enable", "1"},
    {"sys.schedulereboot.type", "1"},
    {"sys.schedulereboot.start_time", "03:00"},
    {"sys.schedulereboot.end_time", "05:00"},
    {"sys.powersleep.enable", "1"},
    {"sys.powersleep.type", "1"},
    {"sys.powersleep.start_time", "00:50"},
    {"sys.powersleep.end_time", "05:00"},
    {"sys.sched.wifi.enable", "1"},
    {"sys.sched.led.type", "time"},
    {"wl.guest.effective_time", "7200"},
    {"lan.ip", "192.168.0.1"},
    {"wl5g.public.mode", "ap"},
    {"wl.wisp.ifname", "wlc0"},
    {"wl2g.extra.wpapsk_type", "psk2"},
};

#endif
