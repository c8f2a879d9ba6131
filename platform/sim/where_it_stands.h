// What the model was doing, for whoever ends a program that does not end by itself.
#ifndef PLATFORM_SIM_WHERE_IT_STANDS_H
#define PLATFORM_SIM_WHERE_IT_STANDS_H

#include <cstddef>

namespace sim
{

// Writes three lines into `text` of `size` bytes (more than 0), a terminating zero included: pass, up-time and wall
// clock with the daemon's last call that can fail; its last act; its last line. What does not fit is cut off. Gives the
// length without the zero. Acts that are muted and lines that are not kept cannot be told.
//
// Allocates nothing, so a signal handler may ask. Weak: null in a program without the virtual router.
size_t where_it_stands(char *text, size_t size) __attribute__((weak));

} // namespace sim

#endif
