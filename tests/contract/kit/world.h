// The world around a ground, as the conformance kit sets it up: cables, addresses, radios, processes, other programs.
// Whoever brings a ground fills one in for his board or his lab, in C or C++; world_template.c is where to begin.
//
// Every entry is optional. What is missing, and what fails when it is called, is reported as not shown. Calls give 0
// when the world is as asked, anything else when it is not. All are made on the main thread of a process that runs one
// check and then ends, so nothing need be put back but what outlives the process.
#ifndef TESTS_CONTRACT_KIT_WORLD_H
#define TESTS_CONTRACT_KIT_WORLD_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct world {
    const char *name; // for the report's second line

    // Not 0: there are no real commands, processes and threads behind the calls. What needs them is not shown.
    int is_model;

    // Around each check. The store holds neither "sys.mode" nor keys of WAN 1 nor what begins with "test.", no cable is
    // in and no radio associated. Kit programs beside this one (see set_elsewhere) meet the same store.
    int (*begin)(void);
    void (*end)(void);

    // A power cut, as the store sees it: what was not committed is gone.
    int (*restart)(void);

    // What other processes do with the store. kit_set_elsewhere and kit_get_elsewhere start the kit's program once
    // more.
    int (*set_elsewhere)(const char *key, const char *value);
    int (*get_elsewhere)(const char *key, char *value, size_t size);

    // Another process posts a message to a name on the bus, and another holds a name until this one ends
    // (kit_hold_name).
    int (*post)(const char *name, const char *text);
    int (*hold_name)(const char *name);

    // Somebody asks the program to end, or to read its settings again, as the ground provides for it.
    int (*ask_to_end)(void);
    int (*ask_to_read_again)(void);

    // netctrl's place on the bus is taken, or is free; the newest message that came to it since.
    int (*netctrl_listens)(int listens);
    int (*netctrl_heard)(char *text, size_t size);

    // The seconds after which the ground ends a command; 0: a minute or more, which nobody waits for.
    int command_deadline_s;

    // A process of this name runs; all of those are gone. kit_process and kit_end_processes do for most grounds.
    int (*process)(const char *name);
    int (*end_processes)(void);

    // How the front panel's LEDs are now: 0 off, 1 on, 2 blinking, 3 as the board drives them. -1: no telling.
    int (*leds)(void);

    // How often the machine was asked to restart. Whoever has this entry sees to it that the machine does not.
    int (*restarts)(void);

    // A file with this text, where the ground looks for files; its path. kit_file does for most grounds.
    int (*file)(const char *text, char *path, size_t size);

    // The LAN bridge comes up with this address, in a network of 256.
    int (*lan_address)(const char *address);
    // WAN 1's cable is plugged in or pulled out.
    int (*wan_cable)(int plugged);
    // WAN 1 gets this address, in a network of 256; "": it has none. Behind it what ends in ".1" answers pings, and
    // nothing else does.
    int (*wan_address)(const char *address);

    // The 2.4 GHz radio's client interface: 1 associated, 0 not, -1 switched off.
    int (*radio)(int state);
    // The user changes the wireless uplink, or has done.
    int (*user_changes_uplink)(int changes);

    // A LAN host sends and receives this many datagrams through the router, each 128 bytes with its IPv4 header.
    int (*traffic)(const char *host, int sent, int received);
};

extern const struct world kit_world;

// ---- ready to be filled in ----

int kit_set_elsewhere(const char *key, const char *value);
int kit_get_elsewhere(const char *key, char *value, size_t size);
int kit_hold_name(const char *name);
int kit_process(const char *name);
int kit_end_processes(void);
int kit_file(const char *text, char *path, size_t size);

#ifdef __cplusplus
}
#endif

#endif
