// What else of the ground runs beside the daemon with a deadline.
#ifndef PLATFORM_LINUX_COMMAND_H
#define PLATFORM_LINUX_COMMAND_H

// Does `act`, which must make system calls only, in a child that holds nothing of the daemon's, and waits for it until
// the deadline of commands. 0: done. Otherwise the seconds after which it went on without; the child is left to itself.
int done_in_a_child(void (*act)());

// The seconds after which a command is ended. Any thread.
int command_deadline_s();

#endif
