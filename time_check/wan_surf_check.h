// The reachability check: whether the internet is really there, per WAN, on a thread of its own.
//
// All functions belong to that thread, but for the last two. What it finds it publishes in the store ("wan%d_isonln",
// "wan%d_check") and tells netctrl; it shares no memory with the modules of the main loop.
#ifndef TIME_CHECK_WAN_SURF_CHECK_H
#define TIME_CHECK_WAN_SURF_CHECK_H

#include <cstdint>

// By which branch of the rule a pass went, of one WAN.
enum class reachability_verdict : uint8_t {
#define VERDICT(name, why) name,
#include "platform/verdicts/reachability.def"
};

// The thread function; never returns.
void *wan_surf_check(void *unused);

// Reads the settings and starts the probe's rules afresh. What is known of the WANs stays.
void wan_surf_check_init();

// Reads the settings of WAN `wan_id` (1 or 2) and, from its point of view, how the router is connected.
void init_value(int wan_id);

// One pass over `wan_num` WANs; `interval_s` takes the seconds until the next.
// 1: done. 0: bad argument. -1: there is no procedure for so many WANs in this mode; the interval stays.
int surf_check(int *interval_s, int wan_num);

// The passes of a wired router, over a radio as WISP client, and as AP client or AP. Results as above (compat 89).
int ap_wan_surf_check(int *interval_s, int wan_num);
int wisp_wan_surf_check(int *interval_s);
int ap_clinet_wan_surf_check(int *interval_s);

// Reads anew how each WAN gets its address (compat 90).
void check_wan_connttype(int wan_num);

// Set the key `name` to `text` in the running store, if it is not so already. Null texts: nothing.
void set_check_tag(const char *name, const char *text);
void set_wan_tag(const char *name, const char *text);

// Keeps and commits the note whether the WAN has been online since it was last taken down.
void check_wanonln_status(int wan_id);

// What the last pass found of WAN `wan_id` (1 or 2); before the first one, the first verdict.
reachability_verdict wan_surf_verdict(int wan_id);

// For the main thread: has the settings read again after the pass that is under way or the next.
void wan_surf_check_renew();

// For the main thread, at the program's end, when that thread can run no command any more: takes away what the check
// has set up in the kernel.
void wan_surf_check_end();

#endif
