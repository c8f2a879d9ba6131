// Text and settings-file helpers of the firmware.
#ifndef PLATFORM_VOS_H
#define PLATFORM_VOS_H

#ifdef __cplusplus
extern "C" {
#endif

// The size of the buffer that vos_get_value_from_file fills, terminating zero included.
enum { VOS_FILE_VALUE_SIZE = 16 };

// As strcmp, and a null text is less than any other and equal to null. Any thread.
int vos_strcmp(const char *left, const char *right);

// Removes blanks, tabs and line ends from both ends of `text`, in place. Gives `text`; null gives null. Any thread.
char *vos_str_trim(char *text);

// Reads the value of `key` from a settings file of "key=value" lines into `value`, VOS_FILE_VALUE_SIZE bytes. The first
// line with the key counts; blanks around key and value are not part of them; a longer value is cut.
// 0: found. -1: no such file or key; the buffer then holds "". Any thread.
int vos_get_value_from_file(const char *file, const char *key, char *value);

#ifdef __cplusplus
}
#endif

#endif
