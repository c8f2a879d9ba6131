// The WAN stoppage check: why the first WAN is not online. A fault that lasts raises "stoppage_flag" and starts the
// diagnosis web server. Main thread.
#ifndef TIME_CHECK_TIME_CHECK_STOPPAGE_CHECK_H
#define TIME_CHECK_TIME_CHECK_STOPPAGE_CHECK_H

#include <cstddef>
#include <cstdint>

// Why there is no connection; the values are those of "wan_stoppage_err".
enum {
    STOPPAGE_DEFAULT = 0,
    WAN_UNLINED = 1,     // the cable is out (compat 87)
    WRONG_AUTH_CODE = 2, // the PPPoE server turns the account down
    PPPOE_CONNECT_TIMEOUT = 3,
    DHCP_CONNECT_TIMEOUT = 4,
};

// By which branch of the rule a tick went.
enum class stoppage_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/stoppage.def"
};

// The tick.
void time_check_stoppage();

// What the last tick found; before the first one, the first verdict.
stoppage_verdict time_check_stoppage_verdict();

// A buffer for get_work_mode, terminating zero included.
constexpr size_t WORK_MODE_SIZE = 10;

// Writes "router", "ap", "client+ap" or "wisp" into `mode`, WORK_MODE_SIZE bytes, or leaves it as it is. Always 0.
int32_t get_work_mode(char *mode);

// Whether there is a WAN with an address: 1 or 0.
int32_t get_wan_online_result();

// 1: the DHCP client has had no answer. 0: it has, or has not said. -1: it has not written its file (compat 86).
int32_t get_dhcp_noreponse_status();

// Looks for a fault, publishes it and starts its clock; no fault stops the clock. The fault, STOPPAGE_DEFAULT, or -1
// when the first WAN has no interface (nothing changes then).
int32_t stoppage_check_result();

// The same for a fault that is being timed: the clock goes on, and a rejected account needs no other sign.
int32_t stoppage_recheck_result();

// The seconds that a fault must last; 0 for anything else.
uint32_t get_check_polling_time(int32_t code);

#endif
