// The configuration store: text values under text keys, shared by every process of the router.
//
// All three calls may be made from any thread of the daemon. Each waits for other processes for a bounded time only and
// then fails; none of them logs on success.
#ifndef PLATFORM_CONFIG_STORE_H
#define PLATFORM_CONFIG_STORE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Reads the value of `key` into `value`, a buffer of `size` bytes (at least 1).
// 1: found; a value longer than the buffer is cut to size - 1 characters. 0: no such key, or the store cannot be read;
// the buffer then holds "". The buffer is always terminated. Sees what any process set before the call.
int GetValue(const char *key, char *value, size_t size);

// Stores `value` under `key` in the running store, where every process sees it at once. It does not survive a restart
// of the router until CommitCfm. 1: stored. 0: not stored (store full, key or value beyond the store's limits).
int SetValue(const char *key, const char *value);

// Makes the settings of the running store durable; what only tells how the router is doing at this moment
// (platform/common/published_keys.h) is better left out. Non-zero: all settings are on disk, or were already. 0: they
// are not; the running store keeps its values, and what was committed before is untouched. May block for as long as the
// disk takes.
int CommitCfm(void);

#ifdef __cplusplus
}

// The buffer's size supplied by its type, so that a call site cannot get it wrong.
template <size_t Size>
inline int GetValue(const char *key, char (&value)[Size])
{
    return GetValue(key, value, Size);
}
#endif

#endif
