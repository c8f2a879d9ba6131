// The daemon's static variables. A restarted machine starts its daemon afresh, and the daemon itself has no reset.
#ifndef PLATFORM_SIM_DAEMON_STATE_H
#define PLATFORM_SIM_DAEMON_STATE_H

namespace sim
{

// Puts every static variable of the daemon, and its status page, back to what it was when the program started: no
// constructor or destructor runs, for the daemon has none. Model, test and libc keep theirs. The daemon's threads must
// be gone, and none of its functions may be on the stack that goes on.
void restore_daemon_state();

} // namespace sim

#endif
