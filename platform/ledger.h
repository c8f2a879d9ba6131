// What the daemon has made outside of itself and owes to take back: the chain with its jump, the policy rules, another
// order of the name servers (decision 0227).
//
// Plain memory. A mark is made before the act and taken away after what was made is gone, so that at whatever moment
// the daemon dies nothing that it made is without its mark. The plain-Linux ground has this memory in a file, where the
// next daemon finds it. On other grounds it ends with the daemon, and nothing need be done for it.
#ifndef PLATFORM_LEDGER_H
#define PLATFORM_LEDGER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { LEDGER_RULES = 6, LEDGER_ADDRESS_SIZE = 16, LEDGER_TEXT_SIZE = 2048 };

// Which file it is, and when it was written, by the low bits of what stat() says.
struct ledger_identity {
    uint32_t node;
    uint32_t seconds; // 0: it is being written in its place, and when nobody knows yet
    uint32_t nanoseconds;
    uint32_t size;
};

struct time_check_ledger {
    uint32_t chain;                                // 1: the chain and its jump. Made first and taken away last
    char rules[LEDGER_RULES][LEDGER_ADDRESS_SIZE]; // each policy rule's destination; "": there is no such rule
    struct ledger_identity written[2]; // the name servers' file as this program wrote it last, and as it is about to be
    uint32_t length;                   // of its text before that; 0: it was not written
    char text[LEDGER_TEXT_SIZE];
};

// The thread that makes a thing, and the main thread at the end.
extern struct time_check_ledger *ledger_memory;

#ifdef __cplusplus
}
#endif

#endif
