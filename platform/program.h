// The daemon as a program: its arguments, and what whoever started it asks of it later.
#ifndef PLATFORM_PROGRAM_H
#define PLATFORM_PROGRAM_H

#ifdef __cplusplus
extern "C" {
#endif

// Called by main before anything else. Looks at the arguments, and does not return when they ask for something else
// than a daemon: it prints what was asked for and ends with status 0, or says what is wrong with them and ends with 2.
//
// From then on the ground may call, on the main thread:
// `end`, once, when the program is to end; the ground sees to it that no other thread runs a command meanwhile or
// later, and ends the program when `end` returns.
// `read_again`, when the settings are to be read again: between two ticks (that is, while the main loop is inside
// sleep), as a message is handed over.
void program_begin(int count, char *const arguments[], void (*end)(void), void (*read_again)(void));

#ifdef __cplusplus
}
#endif

#endif
