// What the daemon's end asks of its main loop.
#ifndef PLATFORM_LINUX_MESSAGE_LOOP_H
#define PLATFORM_LINUX_MESSAGE_LOOP_H

// Hands over the messages that wait, for a second at the most, and takes no more: whose message was taken counts on it,
// and whose was not is told so and may post it again. Main thread, between ticks.
void take_last_messages();

#endif
