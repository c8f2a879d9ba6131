// What may be shown on a terminal: foreign text can hold line ends and escape sequences that forge or hide lines
// (decision 0119).
#ifndef PLATFORM_LINUX_PRINTABLE_H
#define PLATFORM_LINUX_PRINTABLE_H

#include <cstddef>

// How many of the `length` (at least 1) bytes the first character takes, when it can be shown: ASCII without controls,
// or UTF-8 without C1 controls. 0: the first byte must not be shown as it is.
size_t printable_character(const char *text, size_t length);

// Puts "?" in place of every byte that must not be shown.
void make_printable(char *text, size_t length);

#endif
