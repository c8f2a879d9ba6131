// The table: which modules there are, and in what order the main loop runs them.
#ifndef TIME_CHECK_TIME_CHECK_MODULE_H
#define TIME_CHECK_TIME_CHECK_MODULE_H

#include <cstdint>

// Indexes the module table, empties the handler lists, then runs every module's init in id order. Called once by main.
void init_time_check_module_entries();

void init_time_check_module_index();

// Has every module read its settings again, in id order, as the message of its bare name does; a user's waking of the
// router from power saving stays as it is. Main thread, between ticks.
void read_time_check_module_settings();

// The id of the module of exactly this name, or -1; a line says which.
int32_t find_time_check_module_id_by_name(const char *name);

// One pass of the main loop: every module's tick, and the steps between them.
void time_check_tick();

#endif
