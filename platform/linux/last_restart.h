// The file last_restart: how the daemon or the machine was ended, for the next start. Of the form of a journal, with
// the last hundred records; the newest that is a restart or an end says why.
#ifndef PLATFORM_LINUX_LAST_RESTART_H
#define PLATFORM_LINUX_LAST_RESTART_H

#include "platform/common/journal.h"

// Writes it beside the committed settings, if their folder is there; it is on the disk then. System calls only.
void last_restart_save(journal_ring *ring, uint32_t newest);

void last_restart_remove();

// Moves it to the run directory, so that a power cut that follows is told apart. What to say of the restart before, and
// `why`, whose it was: the record, or with STATUS_NOBODY. `goes_on`: the run directory's journal is of this boot;
// `had_one`: there was one. Main thread.
const char *last_restart_take(bool goes_on, bool had_one, journal_record *why);

#endif
