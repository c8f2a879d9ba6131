// The wired AP mode's gateway check (module 8): tells netctrl when the gateway of the network that the router bridges
// stops answering, and when it answers again.
#ifndef TIME_CHECK_TIME_CHECK_AP_CONNECT_H
#define TIME_CHECK_TIME_CHECK_AP_CONNECT_H

#include "time_check/time_check.h"

// By which branch of the rule a tick went.
enum class ap_connect_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/ap_connect.def"
};

void time_check_ap_connect_init();

// The tick. Does nothing unless the router works as an access point. Always TIMER_CHECK_SUC.
int32_t time_check_ap_connect();

// What the last tick found; before the first one, the first verdict.
ap_connect_verdict time_check_ap_connect_verdict();

// One ping and what follows from it. Blocks for as long as the ping takes. Always TIMER_CHECK_ERR, which nobody asks
// (compat 80).
int32_t time_check_ap_connect_main();

// Any message reads the gateway anew. Always TIMER_CHECK_SUC.
int32_t time_check_ap_connect_handle(TIME_CHECK_MODULES_COMMON_STRUCT *var);

// Reads the gateway's address; without one no ping is answered.
void set_time_check_ap_connect_info();

#endif
