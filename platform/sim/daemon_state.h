// The daemon's static variables. A restarted machine starts its daemon afresh, and the daemon itself has no reset.
#ifndef PLATFORM_SIM_DAEMON_STATE_H
#define PLATFORM_SIM_DAEMON_STATE_H

namespace sim
{

// Puts every static variable of the daemon back to what it was when the program started.
void restore_daemon_state();

} // namespace sim

#endif
