// What a service manager is told of the daemon, when it asked for that by NOTIFY_SOCKET in the environment: datagrams
// of VARIABLE=VALUE lines (decision 0149). Otherwise nothing here costs a call. All on the main thread.
#ifndef PLATFORM_LINUX_SERVICE_MANAGER_H
#define PLATFORM_LINUX_SERVICE_MANAGER_H

#include <cstdint>

#include "platform/linux/bus.h"

// Notes what the environment says, and takes it out of there, so that no command takes itself for the daemon. Before
// other threads begin.
void service_begin();

// The daemon cannot begin: its name on the bus cannot be taken. After BUS_RUN_DIRECTORY and BUS_SYSTEM_ERROR errno says
// why.
void service_failed(const char *name, bus_result result);

// The daemon serves, its settings read, and its state is service_summary(). Tells what of it is new.
void service_is_ready();

// It reads its settings again. The next service_is_ready() says that it has.
void service_reloads();

// It ends in order.
void service_stops();

// Before a wait of so many milliseconds: tells that the daemon lives, if that is due. Gives how long it may wait until
// it must be told again, or as long as it wanted.
int64_t service_lives(int64_t milliseconds);

// The state that is told, one line; changes are told within a second.
const char *service_summary();

#endif
