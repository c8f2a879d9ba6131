// What the model was doing, for whoever ends a program that does not end by itself.
#ifndef PLATFORM_SIM_WHERE_IT_STANDS_H
#define PLATFORM_SIM_WHERE_IT_STANDS_H

#include <cstddef>

namespace sim
{

// Writes lines with the virtual time, the daemon's last call and its last act and line; gives their length. Allocates
// nothing, so a signal handler may ask. Weak: null in a program without the virtual router.
size_t where_it_stands(char *text, size_t size) __attribute__((weak));

} // namespace sim

#endif
