// The daemon's journal on this ground: $TIME_CHECK_RUN_DIR/journal, a ring in memory (platform/common/journal.h), and
// last_restart beside the committed settings, which the next start finds (docs/journal.md).
#ifndef PLATFORM_LINUX_JOURNAL_H
#define PLATFORM_LINUX_JOURNAL_H

// Opens the ring, which goes on where the machine has not been restarted, and writes down how it was ended before.
// Until then, and in programs that never call this, acts are not kept. Main thread, once.
void journal_open();

// Writes last_restart; system calls only, so that a child can do it. Nothing where there is no journal, or no folder
// for the settings.
void journal_save();

// The restart for which that was done did not come: takes the file away again. It is not written a second time, since
// the daemon asks each second. Main thread.
void journal_restart_refused();

// Another restart is tried, after others were refused perhaps: its reason is written again. Main thread.
void journal_restart_is_tried();

// The machine is ending because the daemon told it to, and may end the daemon first: last_restart stays as it is then,
// so that the restart is the daemon's. Until it is refused. Main thread.
void journal_restart_has_begun();

// The daemon is being ended in order, by `reason` (a signal's name, say): the journal says so, and so does
// last_restart, unless the restart has begun. Waits no longer than for a command. Main thread.
void journal_end(const char *reason);

#endif
