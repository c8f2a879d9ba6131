// The reachability check: whether the internet is really there, per WAN, on a thread of its own.
#ifndef TIME_CHECK_WAN_SURF_CHECK_H
#define TIME_CHECK_WAN_SURF_CHECK_H

// The thread function.
void *wan_surf_check(void *unused);

#endif
