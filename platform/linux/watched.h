// What the main loop's sleep watches beside messages: things outside the daemon that it knows until they change.
#ifndef PLATFORM_LINUX_WATCHED_H
#define PLATFORM_LINUX_WATCHED_H

#include <cstddef>

#include "platform/linux/memory/addresses.h"
#include "platform/linux/zone_watch.h"

// All on the main thread.
struct watched {
    // A sleep begins. Gives a descriptor that is readable once the thing has changed; -1: nobody tells.
    int (*changes)();

    // The descriptor has been readable; it is not looked at again in this sleep.
    void (*changed)();

    // A sleep is over. `stood_still`: the descriptor was looked at until its end, and was not readable.
    void (*slept)(bool stood_still);
};

constexpr watched WATCHED[] = {
    {address_changes, addresses_changed, addresses_slept},
    {zone_changes, zone_may_have_changed, zone_slept},
};
constexpr size_t WATCHED_NUMBER = sizeof WATCHED / sizeof WATCHED[0];

// The calling thread has started a command, whose effects are to be seen at once. Any thread. The zone is not among
// them: it is read between a sleep and a tick alone.
inline void watched_in_doubt()
{
    addresses_in_doubt();
}

#endif
