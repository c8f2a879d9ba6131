// The daemon as a process: what signals ask of it, and how it ends (decision 0147).
//
// The signals are blocked but while the main thread waits in program_wait(), so no other call is ever interrupted, and
// no handler runs beside anything. In programs that have not called program_begin() nothing here does anything.
#ifndef PLATFORM_LINUX_PROGRAM_H
#define PLATFORM_LINUX_PROGRAM_H

#include <cstdint>
#include <poll.h>
#include <sys/types.h>

// The name on the bus is taken: from now on there is something to end in order. Main thread, before others begin.
void program_serves();

// Whether the calling thread is the daemon's main thread, and it serves.
bool program_is_main();

// ppoll for `milliseconds`. On the daemon's main thread it also gives -1 before that, so that the caller looks at the
// clock and what it waits for again: a signal has come, or the service manager was told that the daemon lives. And
// there it does not come back once the tick has gone on for too long after the program was asked to end. Any thread.
int program_wait(pollfd *things, nfds_t number, int64_t milliseconds);

// Does what signals have asked for. Main thread, between ticks.
void program_act();

// Ends the program in order if it was asked to end: for a tick that does nothing more. Main thread.
void program_end_if_asked();

// Around a command that is waited for: -1 before it is started, then its process, 0 when it is over. When the program
// ends in order, threads other than the main one do not come back from the first. Any thread.
void program_notes_command(pid_t pid);

#endif
