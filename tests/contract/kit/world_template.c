/* The world of a board, to be filled in: copy this file, name it in a library time_check_world beside your
 * time_check_ground, and take the entries in one by one. world.h says what each has to do. */
#include "tests/contract/kit/world.h"

const struct world kit_world = {
    .name = "a board without a world",
    /* These start the kit's own program again, or write a file: they do for a ground with real processes and files.
    .set_elsewhere = kit_set_elsewhere,
    .get_elsewhere = kit_get_elsewhere,
    .hold_name = kit_hold_name,
    .process = kit_process,
    .end_processes = kit_end_processes,
    .file = kit_file,
    */
};
