#include "platform/common/published_keys.h"

#include <cstring>

// Such keys and patterns of the table of keys, one after the other: as a table of pointers each would take as much
// flash again as a short key. "#" stands for a WAN's number.
#define OF_SETTING(key)
#define OF_SECRET(key)
#define OF_STATE(key)
#define OF_PUBLISHED(key)                                             key "\0"
#define CONFIG_WAN_KEY(NAME, field, TYPE, range, standard, KIND, ...) OF_##KIND("wan#" field)
#define CONFIG_KEY(NAME, key, TYPE, range, standard, KIND, ...)       OF_##KIND(key)
static constexpr char PUBLISHED[] =
#include "platform/config_keys.def"
    ;

// Each character of the pattern takes one of the key's; "#" a digit from 1, "%s" all that the rest leaves.
static bool matches(const char *pattern, const char *key, const char *end)
{
    for (; *pattern != '\0'; pattern++, key++) {
        if (key >= end)
            return false;
        if (*pattern == '%') {
            pattern++; // the "s"
            key = end - strlen(pattern) > key ? end - strlen(pattern) : key;
        } else if (*pattern == '#' ? *key < '1' || *key > '9' : *key != *pattern) {
            return false;
        }
    }
    return key == end;
}

bool is_published_key(const char *key, size_t length)
{
    for (const char *pattern = PUBLISHED; *pattern != '\0'; pattern += strlen(pattern) + 1)
        if (matches(pattern, key, key + length))
            return true;
    return false;
}
