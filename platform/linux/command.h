// What else of the ground runs beside the daemon with a deadline.
#ifndef PLATFORM_LINUX_COMMAND_H
#define PLATFORM_LINUX_COMMAND_H

#include <sys/types.h>

// Does `act`, which must make system calls only, in a child that holds nothing of the daemon's, and waits for it until
// the deadline of commands. 0: done. Otherwise the seconds after which it went on without; the child is left to itself.
int done_in_a_child(void (*act)());

// The seconds after which a command is ended. Any thread.
int command_deadline_s();

// Has the shell begin a command that is not waited for and not ended with the daemon: its process, or -1, and perhaps a
// line, when it cannot be run. Main thread.
pid_t command_begin(const char *command);

// Whether it has ended, and then its exit status, or 128 + the signal that ended it. Not asked again after that.
bool command_is_over(pid_t pid, int *status);

// Ends it, with all that it has started and that has not left its group.
void command_end(pid_t pid);

#endif
