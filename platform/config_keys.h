// The names of the configuration store's keys. What there is to know of each stands in platform/config_keys.def.
//
//   KEY_NAME          a key; of a pattern, its printf format
//   KEY_WL2G_NAME     a radio's key, and KEY_WL5G_NAME
//   KEY_WAN1_NAME     the first WAN's key
//   WAN_FIELD_NAME    what follows "wan" and the number in each WAN's
//   RULES_KEY_NAME    a weekly schedule's key: a printf format for WIFI_RULES or LED_RULES
//   RULE_FIELD_NAME   what follows one of these two in a rule's key, before its number
//
// Pointers and not arrays, so that each use is the text itself, which the linker keeps once (decision 0146).
#ifndef PLATFORM_CONFIG_KEYS_H
#define PLATFORM_CONFIG_KEYS_H

#define CONFIG_KEY(NAME, key, ...) constexpr const char *KEY_##NAME = key;
#define CONFIG_WAN_KEY(NAME, field, ...)                                                                               \
    constexpr const char *KEY_WAN1_##NAME = "wan1" field;                                                              \
    constexpr const char *WAN_FIELD_##NAME = field;
#define CONFIG_RULES_KEY(NAME, field, ...) constexpr const char *RULES_KEY_##NAME = "%s" field;
#define CONFIG_RULE_KEY(NAME, field, ...)  constexpr const char *RULE_FIELD_##NAME = field;
#include "platform/config_keys.def"

constexpr const char *WIFI_RULES = "nkgw.wlan";
constexpr const char *LED_RULES = "nkgw.led";

#endif
