// The way out of every line of the log.
#ifndef PLATFORM_LINUX_LOG_SINK_H
#define PLATFORM_LINUX_LOG_SINK_H

#include <cstddef>

// The longest text that can be written; longer ones are lost.
constexpr size_t LOG_TEXT_MAX = 1024;

// Writes whole lines to standard output or standard error, and never waits long for whoever reads them: 200 ms while a
// reader is only behind, not at all while it has stopped. What it does not take is kept as far as there is room, then
// lost and counted; the count is a line of its own, before the next line that goes out (decision 0118). Lines of two
// threads never mix. errno is kept. Any thread.
void log_write(int fd, const char *text, size_t length);

#endif
