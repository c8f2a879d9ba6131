// Questions to the store that several modules ask.
#ifndef TIME_CHECK_TIME_CHECK_SETTING_H
#define TIME_CHECK_TIME_CHECK_SETTING_H

// Whether the key holds exactly `text`, of at most 30 characters; a missing key holds "".
bool time_check_key_is(const char *key, const char *text);

// Whether the key holds exactly "1".
bool time_check_key_is_on(const char *key);

#endif
