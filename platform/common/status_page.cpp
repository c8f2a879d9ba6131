// The page of what the daemon tells of itself.
#include "platform/status.h"

#include <cstddef>

// 32-bit machines lay it out as 64-bit ones do: each 64-bit number at a multiple of 8.
static_assert(sizeof(status_row) == 88 && offsetof(status_row, act) == 44);
static_assert(offsetof(status_main, rows) == 16 && sizeof(status_program) == 64);
static_assert(sizeof(status_main) % 8 == 0 && sizeof(status_wan) % 8 == 0 && offsetof(status_wans, wan) == 32);

time_check_status status_memory = {};

time_check_status *status_page()
{
    return &status_memory;
}
