#include "platform/common/published_keys.h"

#include <cstddef>
#include <cstdint>
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

// Where each begins. A commit asks for every key of the store, and most differ in their first letter.
struct pattern_starts {
    uint8_t number;
    uint8_t at[16];
};

static constexpr pattern_starts find_starts()
{
    pattern_starts found = {};
    for (size_t i = 0; i < sizeof PUBLISHED - 1; i++) // the literal's own end is none
        if (i == 0 || PUBLISHED[i - 1] == '\0')
            found.at[found.number++] = static_cast<uint8_t>(i);
    return found;
}

static constexpr pattern_starts STARTS = find_starts();

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
    for (uint8_t i = 0; i < STARTS.number; i++) {
        const char *const pattern = &PUBLISHED[STARTS.at[i]];
        if (*pattern == *key && matches(pattern, key, key + length))
            return true;
    }
    return false;
}
