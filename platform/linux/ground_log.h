// Lines of the ground itself: what it cannot tell through a result.
#ifndef PLATFORM_LINUX_GROUND_LOG_H
#define PLATFORM_LINUX_GROUND_LOG_H

// Writes one line ("PROGRAM: text") to standard error in a single write, so that lines of two threads never mix.
// Anything beyond 511 characters is cut; control characters become "?", so that foreign text cannot forge a line. errno
// is kept. Any thread.
void ground_log(const char *format, ...) __attribute__((format(printf, 1, 2)));

#endif
