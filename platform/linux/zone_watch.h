// Follows the machine's time zone, /etc/localtime: the C library by itself reads it once, when local time is first
// asked for, and keeps to it for ever. Main thread.
#ifndef PLATFORM_LINUX_ZONE_WATCH_H
#define PLATFORM_LINUX_ZONE_WATCH_H

// Before other threads begin. A zone that the environment names (TZ) stays, and is not followed.
void zone_watch_begin();

// A descriptor that is readable once the zone may have changed, until the next zone_slept(); -1: nobody tells.
int zone_changes();

// Has been readable.
void zone_may_have_changed();

// Between a sleep and a tick: the C library reads the zone anew, if that is due.
void zone_slept(bool stood_still);

#endif
