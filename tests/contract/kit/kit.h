// The conformance kit: what platform/*.h promises, one check a promise, in the order of docs/porting.md. It is written
// as the daemon is, and needs what the daemon needs: libc and POSIX threads (decision 0191).
#ifndef TESTS_CONTRACT_KIT_KIT_H
#define TESTS_CONTRACT_KIT_KIT_H

#include <cstddef>
#include <initializer_list> // lists in loops

#include "tests/contract/kit/world.h"

struct kit_check {
    const char *header;  // whose promise it is
    const char *calls;   // of which calls, with blanks between
    const char *promise; // in one line
    void (*run)();
};

struct kit_list {
    const kit_check *checks;
    size_t count;
};

template <size_t Count>
constexpr kit_list kit_list_of(const kit_check (&checks)[Count])
{
    return {checks, Count};
}

extern const kit_list store_checks;
extern const kit_list bus_checks;
extern const kit_list command_checks;
extern const kit_list text_checks;
extern const kit_list machine_checks;
extern const kit_list network_checks;
extern const kit_list statistics_checks;
extern const kit_list wifi_checks;
extern const kit_list status_checks;

// ---- in a check ----

struct kit_place {
    const char *file;
    int line;
};

// Each notes what was looked at, says what is wrong, and gives whether it is right.
bool kit_expect(kit_place place, bool holds, const char *text);
bool kit_expect_number(kit_place place, long long value, long long wanted, const char *text);
bool kit_expect_text(kit_place place, const char *value, const char *wanted, const char *text);

// What the looks from here on are about, where their text does not say it; null: nothing more. Stays the caller's.
void kit_about(const char *text);

// Gives `holds`; else the check is not shown, because of this.
bool kit_shown(bool holds, const char *why);

#define EXPECT(condition)            kit_expect({__FILE__, __LINE__}, (condition), #condition)
#define EXPECT_NUMBER(value, wanted) kit_expect_number({__FILE__, __LINE__}, (value), (wanted), #value)
#define EXPECT_TEXT(value, wanted)   kit_expect_text({__FILE__, __LINE__}, (value), (wanted), #value)

// For checks that cannot go on otherwise.
#define NEEDS(condition, why)                                                                                          \
    do                                                                                                                 \
        if (!kit_shown(condition, why))                                                                                \
            return;                                                                                                    \
    while (0)
#define NEEDS_REAL         NEEDS(kit_world.is_model == 0, "the world is a model")
#define NEEDS_ENTRY(entry) NEEDS(kit_world.entry != nullptr, "the world has no " #entry)
#define WORLD(entry, ...)                                                                                              \
    do {                                                                                                               \
        NEEDS_ENTRY(entry);                                                                                            \
        NEEDS(kit_world.entry(__VA_ARGS__) == 0, "the world's " #entry " could not do it");                            \
    } while (0)

// Runs `act` in a process of its own; its exit status, 128 + the signal that ended it, or -1 when it has not ended
// after 20 seconds. Standard output goes to `output`, terminated, if that is not null.
int kit_in_a_process(void (*act)(), char *output, size_t size);

// Milliseconds that only grow.
long long kit_ms();

// ---- the kit's program as another process ----

// Whether the program was started as one; then it has done its work, and this does not return.
void kit_be_another_process(int count, char **arguments);

#endif
