#include "platform/common/secrets.h"

#include <cstring>

// Such keys of the table of keys, one after the other, each with its end.
#define OF_SETTING(key)
#define OF_SECRET(key) key "\0"
#define OF_STATE(key)
#define OF_PUBLISHED(key)
#define CONFIG_WAN_KEY(NAME, field, TYPE, range, standard, KIND, ...) OF_##KIND("wan%d" field)
#define CONFIG_KEY(NAME, key, TYPE, range, standard, KIND, ...)       OF_##KIND(key)
static constexpr char SECRETS[] =
#include "platform/config_keys.def"
    ;

static constexpr size_t patterns()
{
    size_t found = 0;
    for (const char character : SECRETS)
        found += character == '%' ? 1 : 0;
    return found;
}
static_assert(patterns() == 0, "a secret pattern of keys needs more than a look into the store");

// Whether the text goes on with this value as it stands inside a shell's quotes.
static bool goes_on_with(const char *text, const char *value)
{
    for (; *value != '\0'; value++, text++) {
        if (*text != *value)
            return false;
        if (strncmp(text, "'\\''", 4) == 0)
            text += 3;
    }
    return true;
}

static bool holds(const char *text, const char *value)
{
    if (strstr(text, value) != nullptr)
        return true;
    for (; *text != '\0'; text++)
        if (goes_on_with(text, value))
            return true;
    return false;
}

// The beginning of a value is enough: the daemon's own buffers may have cut the rest. An account's two options give it
// away also while its password is changed in the store (decision 0158).
bool holds_a_secret(const char *text, int (*look_up)(const char *key, char *value, size_t size))
{
    for (const char *key = SECRETS; *key != '\0'; key += strlen(key) + 1) {
        char value[32];
        if (look_up(key, value, sizeof value) != 0 && value[0] != '\0' && holds(text, value))
            return true;
    }
    return strstr(text, " -u ") != nullptr && strstr(text, " -p ") != nullptr;
}

bool is_secret_key(const char *key)
{
    const char *secret = SECRETS;
    while (*secret != '\0' && strcmp(secret, key) != 0)
        secret += strlen(secret) + 1;
    return *secret != '\0';
}
