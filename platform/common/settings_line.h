// The line form of a settings file, apart from how a ground gets at the file.
#ifndef PLATFORM_COMMON_SETTINGS_LINE_H
#define PLATFORM_COMMON_SETTINGS_LINE_H

#include <cstddef>

// Looks whether the first `length` characters of `line` are "key=value" with this key, blanks around key and value not
// counted, and stores the value, cut to VOS_FILE_VALUE_SIZE. False: another line; the buffer is left as it was.
bool settings_line_value(const char *line, size_t length, const char *key, char *value);

#endif
