// The modules' ids. Apart from everything else, so that a new module has only those built anew that name one.
#ifndef TIME_CHECK_TIME_CHECK_IDS_H
#define TIME_CHECK_TIME_CHECK_IDS_H

#include <cstdint>

enum {
    TIME_CHECK_DBG_MODULE = 0,
    TIME_CHECK_REBOOT = 1,
    TIME_CHECK_POWER = 2,
    TIME_CHECK_WIFI = 3,
    TIME_CHECK_LED = 4,
    TIME_CHECK_CPU = 5,
    TIME_CHECK_DAEMON = 6,
    TIME_CHECK_WIFI_CONNECT = 7,
    TIME_CHECK_AP_CONNECT = 8,
    TIME_CHECK_WL_GUEST = 9,
    TIME_CHECK_MAX_MODULE_NUM,
};

// One switch a module: 1 lets its debug lines through.
extern uint32_t
    _DEBUG_LIST_[TIME_CHECK_MAX_MODULE_NUM]; // NOLINT(bugprone-reserved-identifier) the switches' known name

#endif
