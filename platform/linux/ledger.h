// The ledger's file, $TIME_CHECK_RUN_DIR/ledger: what the daemon has made outside and owes to take back, its own part
// (platform/ledger.h) and the ground's. It outlives the daemon and not the machine, as do the things that it tells of
// (decision 0227).
#ifndef PLATFORM_LINUX_LEDGER_H
#define PLATFORM_LINUX_LEDGER_H

#include <cstddef>
#include <cstdint>

#include "platform/ledger.h"

constexpr size_t LEDGER_LEDS = 32; // a panel with more: the rest is not put back

// An LED as it was found.
struct ledger_led {
    char name[64]; // "": a free place
    char trigger[32];
    char brightness[16];
};

// A command that is waited for.
struct ledger_command {
    int32_t pid;    // 0: none. It leads its process group
    int32_t uptime; // when it was begun
};

struct ledger_head {
    uint32_t version;
    char boot[40]; // the machine's start of which it tells
};

struct ledger_file {
    struct ledger_head head;
    struct time_check_ledger daemon;
    uint32_t led_state;  // that the LEDs were given last, and one more; 0: the automatic one, which nobody owes
    uint32_t leds_again; // 1: they are not all in it, and the next daemon sets it again
    struct ledger_led leds[LEDGER_LEDS];
    struct ledger_command commands[2]; // of the reachability check, of the main thread
};

// Never null. Until ledger_open(), and in other programs, memory that ends with the program.
extern ledger_file *ground_ledger;

// Goes on with the file that a daemon has left since the machine started, or makes it anew. Ends commands of a daemon
// that was killed; sets the LEDs again as a daemon left them that has put them back, or was killed while it switched
// them. A line when there is something to take back, and when there can be no file. Main thread, once, before there are
// others.
void ledger_open();

// The calling thread's command. Any thread.
ledger_command *ledger_own_command();

// The LEDs as they were found, as far as nobody else has switched them meanwhile. Main thread, at the end.
void leds_put_back();

// The last state once more, if leds_again. Main thread.
void leds_go_on();

#endif
