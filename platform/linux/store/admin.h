// What people and their tools need of the store beyond platform/config_store.h. Each call prints a line on standard
// error when it fails. Any thread, unless said otherwise.
#ifndef PLATFORM_LINUX_STORE_ADMIN_H
#define PLATFORM_LINUX_STORE_ADMIN_H

#include <cstddef>

constexpr size_t CONFIG_STORE_KEY_MAX = 511;     // bytes: what LMDB takes for a key
constexpr size_t CONFIG_STORE_VALUE_MAX = 65536; // bytes

// Opens the running store, and fills it from the committed file if this is its first use since the router started. The
// other calls do so themselves; this one tells whether it worked.
bool config_store_open();

// The same for a program that will not change the store before it closes it, with one thread: that is cheaper.
bool config_store_open_to_read();

// Opens it as soon as it can be opened, however long that takes, and says at once and every minute that it waits.
// Called by a process with one thread.
void config_store_wait();

// For processes that live long: looks whether the files of the running store are still those in the run directory, and
// opens what is there now when they are not; what was not committed is lost then. False: they were not; a line says so.
bool config_store_look();

// Whether there is a running store in the run directory. Opens nothing: without one the next call makes it.
bool config_store_is_there();

// A number that no change of the running store leaves as it was; a store that took the place of another may have the
// same. Nearly free. 0: the store cannot be opened, or nothing was ever stored.
unsigned long long config_store_changes();

// Gives back what the process holds of the store; the next call opens it again. No other thread may be using the store.
void config_store_close();

// Gives back this thread's place among those who look at the store, and nothing else: for a program that is about to
// end, or to wait for whoever reads its output. The next call takes one again.
void config_store_leave();

// 1: the key is gone. 0: there was none (without a line). -1: the store could not be changed.
int config_store_unset(const char *key);

// Takes the next piece of a text, `length` bytes at `text`; false ends the call.
typedef bool (*config_store_sink)(void *context, const char *text, size_t length);

// Hands over the settings whose keys begin with `prefix`, sorted, as lines "key=value" with escapes. The whole store is
// seen at one moment, and the store holds on to that moment until the call ends: a sink must not wait for anything.
bool config_store_list(const char *prefix, config_store_sink sink, void *context);

// The same for all settings, without what is only published, and with the last line by which a damaged file is
// recognised: what CommitCfm writes.
bool config_store_export(config_store_sink sink, void *context);

// The same for the settings that a start would fill an empty store with: those of the committed file, or of the one
// before it. Nothing is handed over when there is neither. False: a line says why they cannot be read.
bool config_store_committed(config_store_sink sink, void *context);

// Whether the running store is known to hold what is committed: nothing was stored since that was last seen, and the
// committed file is the same. False: the two are to be compared, or cannot be. Opens nothing; there must be a running
// store, and the process must not have it open. For programs with one thread.
bool config_store_is_noted();

// Says, after a comparison that began after config_store_is_noted, that they were found equal: the next look need not
// compare again. Does nothing when either was changed since, or somebody is busy with them.
void config_store_note();

// Is told of a setting.
typedef void (*config_store_setting)(void *context, const char *key, const char *value);

// Stores the settings of a text in that form, read from `fd` to its end: all or, when a line is wrong or they do not
// fit, none. `name` stands for the text in the lines about it. The last line may be missing or wrong here. `stored` is
// told of each setting in turn once all are stored, unless it is null.
bool config_store_import(int fd, const char *name, config_store_setting stored = nullptr, void *context = nullptr);

#endif
