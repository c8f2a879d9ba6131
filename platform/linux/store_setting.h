// Store keys by which a router differs from the ground's defaults.
#ifndef PLATFORM_LINUX_STORE_SETTING_H
#define PLATFORM_LINUX_STORE_SETTING_H

#include <cstddef>

// The leading decimal integer of `text`, 0 when there is none, saturating at the signed 32-bit limits.
int leading_integer(const char *text);

// The integer value of a store key; `fallback` when the key is missing. Any thread.
int setting_number(const char *key, int fallback);

// The text under a store key, or `fallback` when the key is missing, into a buffer of `size` bytes.
// False: the key is there but empty, or the text does not fit; the buffer then holds "". Any thread.
bool setting_text(const char *key, const char *fallback, char *value, size_t size);

#endif
