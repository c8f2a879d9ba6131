#include "time_check/wan_keys.h"

#include <cstdio>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "time_check/time_check_text.h"

int32_t wans_in_settings()
{
    char value[16];
    GetValue(KEY_WANS_FLAG, value);
    return time_check_atoi(value);
}

int configured_wans()
{
    const int32_t count = wans_in_settings();
    return count < WAN_NUM ? count : WAN_NUM;
}

wan_key_name wan_key(int wan_id, const char *field)
{
    wan_key_name key;
    snprintf(key.text, sizeof key.text, "wan%d%s", wan_id, field);
    return key;
}
