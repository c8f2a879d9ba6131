// The list of addresses as something that the sleep watches (platform/linux/watched.h). Each thread has its own.
#ifndef PLATFORM_LINUX_MEMORY_ADDRESSES_H
#define PLATFORM_LINUX_MEMORY_ADDRESSES_H

// A sleep begins: what is known is no longer relied on. Gives a descriptor of the calling thread's own that is readable
// once an address has changed; -1: nobody tells.
int address_changes();

// It has been readable: reads everything from it and forgets the addresses.
void addresses_changed();

// A sleep is over; when they stood still in it they hold until the next one, or until they are in doubt.
void addresses_slept(bool stood_still);

// Something was done that may change them.
void addresses_in_doubt();

#endif
