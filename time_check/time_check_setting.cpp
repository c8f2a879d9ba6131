#include "time_check/time_check_setting.h"

#include <cstring>

#include "platform/config_store.h"

bool time_check_key_is(const char *key, const char *text)
{
    char value[32];
    GetValue(key, value);
    return strcmp(value, text) == 0;
}

bool time_check_key_is_on(const char *key)
{
    return time_check_key_is(key, "1");
}
