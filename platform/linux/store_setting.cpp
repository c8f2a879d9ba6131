#include "platform/linux/store_setting.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/config_store.h"

int leading_integer(const char *text)
{
    const long long number = strtoll(text, nullptr, 10);
    if (number > INT_MAX)
        return INT_MAX;
    return number < INT_MIN ? INT_MIN : static_cast<int>(number);
}

int setting_number(const char *key, int fallback)
{
    char text[32];
    return GetValue(key, text) == 0 ? fallback : leading_integer(text);
}

bool setting_text(const char *key, const char *fallback, char *value, size_t size)
{
    char text[256];
    if (GetValue(key, text) == 0) {
        strncpy(text, fallback, sizeof text - 1);
        text[sizeof text - 1] = '\0';
    }
    const size_t length = strlen(text);
    if (length == 0 || length >= size) {
        value[0] = '\0';
        return false;
    }
    memcpy(value, text, length + 1);
    return true;
}
