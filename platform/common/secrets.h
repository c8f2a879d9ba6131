// What is never shown to whoever reads what the daemon did (decision 0158): values of secret keys, and commands and
// messages that hold one. Any thread.
#ifndef PLATFORM_COMMON_SECRETS_H
#define PLATFORM_COMMON_SECRETS_H

#include <cstddef>
#include <cstring>

bool is_secret_key(const char *key);

// Whether a command or message holds the value of a secret key, or an account's options. `look_up` is GetValue, or does
// its job.
bool holds_a_secret(const char *text, int (*look_up)(const char *key, char *value, size_t size));

// How much of a text that holds one may be shown, " ***" behind it: its first word.
inline size_t shown_of_secret(const char *text)
{
    return strcspn(text, " ?");
}

#endif
