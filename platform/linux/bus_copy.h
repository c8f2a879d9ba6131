// A copy of what is posted, for who records it. Apart from the bus, so that a program which has nothing to tell a
// recorder, the daemon above all, carries none of it (decision 0183).
#ifndef PLATFORM_LINUX_BUS_COPY_H
#define PLATFORM_LINUX_BUS_COPY_H

// Gives the text to who holds the name "TO-record", if anybody does; does not wait, and cannot fail. For programs that
// post to the daemon, after bus_post has done it. Any thread.
void bus_copy(const char *to, const char *text);

// What is behind the name in the name of its recorder.
constexpr char BUS_RECORDER[] = "-record";

#endif
