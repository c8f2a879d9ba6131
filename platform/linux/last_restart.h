// Files of the journal's form: the ring of the run directory when it is made, and last_restart, which says how the
// daemon or the machine was ended before. Its newest record that is a restart or an end says why.
#ifndef PLATFORM_LINUX_LAST_RESTART_H
#define PLATFORM_LINUX_LAST_RESTART_H

#include "platform/common/journal.h"

// A folder's descriptor, or -1.
int journal_folder(const char *path);

// Maps the whole of a regular file of exactly this size, and closes the descriptor, which may be -1. `is_written`: what
// is written goes to the file. Null: it is something else.
void *file_map(int fd, size_t size, bool is_written);

// Writes a journal of so many slots, its head like that one, with the latest of a ring's records, under that name in
// the folder: beside, synced, then renamed. System calls only. False: it could not be written, and nothing is left of
// it.
bool journal_file_write(int dir, const char *name, uint32_t slots, const journal_head *like, journal_record *records,
                        uint32_t newest);

// Maps a file of the form's whole size with so many slots; null: there is none.
void *journal_file_map(int dir, const char *name, uint32_t slots, bool is_written);

// Writes last_restart beside the committed settings, if their folder is there; takes it away. System calls only.
void last_restart_save(journal_ring *ring, uint32_t newest);
void last_restart_remove();

// Moves it to the run directory, so that a power cut that follows is told apart. What to say of the restart before, and
// `why`, whose it was: the record, or with STATUS_NOBODY. `goes_on`: the run directory's journal is of this boot;
// `had_one`: there was one. Main thread.
const char *last_restart_take(int run_dir, bool goes_on, bool had_one, journal_record *why);

#endif
