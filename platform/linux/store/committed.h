// The committed file, for the units of the store alone; CommitCfm writes it.
#ifndef PLATFORM_LINUX_STORE_COMMITTED_H
#define PLATFORM_LINUX_STORE_COMMITTED_H

#include <lmdb.h>

#include "platform/linux/store/state.h"

// Fills the environment from the committed file, unless something is in it, and notes that it is made. False: it must
// not be used, a line says why. Called with STORE_OPEN_LOCK held.
bool store_fill(MDB_env *environment);

// Whether the committed file is the one that the note is about, unchanged. Reads none of it.
bool store_stands_as_noted(const store_note *note);

#endif
