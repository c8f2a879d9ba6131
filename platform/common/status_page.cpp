// The page of what the daemon tells of itself.
#include "platform/status.h"

#include <cstddef>

// 32-bit machines lay it out as 64-bit ones do: each 64-bit number at a multiple of 8.
static_assert(offsetof(status_main, stoppage_row) == offsetof(status_main, rows) + STATUS_ROWS * sizeof(status_row));
static_assert(sizeof(status_row) == 88 && offsetof(status_row, act) == 44);
static_assert(offsetof(status_main, rows) == 16 && sizeof(status_program) == 64);
static_assert(sizeof(status_main) % 8 == 0 && sizeof(status_wan) % 8 == 0 && offsetof(status_wans, wan) == 32);

time_check_status status_memory = {};
status_changes status_noted = {};

static void begin_noting()
{
    if ((status_memory.main.changed & STATUS_NOTED) != 0)
        return;
    status_memory.main.changed |= STATUS_NOTED;
    status_noted.acted = 0;
    status_noted.num = 0;
}

void status_field_changed(const void *field, uint32_t size)
{
    begin_noting();
    const auto at =
        static_cast<uint32_t>(static_cast<const char *>(field) - reinterpret_cast<const char *>(&status_memory.main));
    for (uint32_t word = at / 4; word * 4 < at + size; word++) {
        if (status_noted.num == STATUS_NOTED_MAX) {
            status_memory.main.changed |= STATUS_CHANGED;
            return;
        }
        status_noted.words[status_noted.num++] = static_cast<uint16_t>(word);
    }
}

void status_row_acted(const status_row *row)
{
    const auto number = static_cast<size_t>(row - status_memory.main.rows);
    if (number > STATUS_ROWS)
        return;
    begin_noting();
    status_noted.acted |= 1U << number;
}

time_check_status *status_page()
{
    return &status_memory;
}
