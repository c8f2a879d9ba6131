// The front panel's LEDs, as the kernel's LED class shows them: one folder an LED.
#include "platform/system.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fnmatch.h>

#include "platform/common/journal.h"
#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/linux/directory.h"
#include "platform/linux/kernel_file.h"
#include "platform/linux/ledger.h"

enum led_state { LED_OFF = 0, LED_ON = 1, LED_BLINKING = 2, LED_AUTOMATIC = 3 };

constexpr int LED_AS_FOUND = -1;
constexpr char NO_TRIGGER[] = "none";
constexpr size_t TRIGGER_SIZE = 32;
constexpr size_t PATTERN_SIZE = 64;
constexpr size_t PATH_SIZE = 256;

static const char *led_directory()
{
    const char *configured = getenv("TIME_CHECK_LED_DIR");
    return configured == nullptr || configured[0] == '\0' ? "/sys/class/leds" : configured;
}

// Whether an LED is one of the panel's: its name matches one of the patterns of TIME_CHECK_LEDS, parted by blanks.
// Without patterns all of the machine's are (decision 0195).
static bool is_of_panel(const char *led)
{
    const char *at = getenv("TIME_CHECK_LEDS");
    if (at == nullptr || at[0] == '\0')
        return true;
    while (*at != '\0') {
        char pattern[PATTERN_SIZE];
        const size_t length = strcspn(at, " ");
        if (length > 0 && length < sizeof pattern) {
            memcpy(pattern, at, length);
            pattern[length] = '\0';
            if (fnmatch(pattern, led, 0) == 0)
                return true;
        }
        at += at[length] == '\0' ? length : length + 1;
    }
    return false;
}

static void led_path(char (&path)[PATH_SIZE], const char *led, const char *attribute)
{
    snprintf(path, sizeof path, "%s/%s/%s", led_directory(), led, attribute);
}

static bool set_attribute(const char *led, const char *attribute, const char *value)
{
    char path[PATH_SIZE];
    led_path(path, led, attribute);
    return write_kernel_file(path, value);
}

// "" when it cannot be read.
static void read_attribute(const char *led, const char *attribute, char *value, size_t size)
{
    char path[PATH_SIZE];
    led_path(path, led, attribute);
    read_first_line(path, value, size);
}

static void set_full_brightness(const char *led)
{
    char full[16];
    read_attribute(led, "max_brightness", full, sizeof full);
    if (full[0] == '\0')
        strcpy(full, "1");
    set_attribute(led, "brightness", full);
}

// The trigger in force is the one in square brackets. "none" when there is no telling.
static void read_trigger(const char *led, char (&trigger)[TRIGGER_SIZE])
{
    char line[4096]; // what a file of this kind can hold
    read_attribute(led, "trigger", line, sizeof line);
    const char *const begin = strchr(line, '[');
    const size_t length = begin == nullptr ? 0 : strcspn(begin + 1, "]");
    if (length == 0 || length >= sizeof trigger) {
        strcpy(trigger, NO_TRIGGER);
        return;
    }
    memcpy(trigger, begin + 1, length);
    trigger[length] = '\0';
}

// The trigger that the board gave the LED. Noted in the store before the first change, so that it outlives a restart
// of the daemon; who prepares the store may set it beforehand (decision 0026).
static void board_trigger(const char *led, char (&trigger)[TRIGGER_SIZE])
{
    char key[128];
    snprintf(key, sizeof key, KEY_LED_TRIGGER, led);
    if (GetValue(key, trigger) == 1 && trigger[0] != '\0')
        return;
    read_trigger(led, trigger);
    SetValue(key, trigger);
}

// ---- the ledger ----

// Where the LED stands in the ledger; null: nowhere. "": a free place.
static ledger_led *noted(const char *led)
{
    for (ledger_led &note : ground_ledger->leds)
        if (strncmp(note.name, led, sizeof note.name - 1) == 0)
            return &note;
    return nullptr;
}

static void read_led(const char *led, ledger_led *as_it_is)
{
    read_attribute(led, "brightness", as_it_is->brightness, sizeof as_it_is->brightness);
    read_trigger(led, as_it_is->trigger);
}

// Before it is changed.
static void note_led(const char *led)
{
    ledger_led *const note = noted(led) == nullptr ? noted("") : nullptr;
    if (note == nullptr)
        return;
    read_led(led, note);
    snprintf(note->name, sizeof note->name, "%s", led);
}

// One that is not dark any more somebody else has switched.
static void put_led_back(const char *led)
{
    ledger_led *const note = noted(led);
    ledger_led now;
    if (note == nullptr)
        return;
    read_led(led, &now);
    const bool is_dark = strcmp(now.trigger, NO_TRIGGER) == 0 && strcmp(now.brightness, "0") == 0;
    if ((is_dark || ground_ledger->led_state != LED_OFF + 1) &&
        (strcmp(note->trigger, NO_TRIGGER) == 0 || !set_attribute(led, "trigger", note->trigger)))
        set_attribute(led, "brightness", note->brightness);
    note->name[0] = '\0';
}

// ---- the states ----

static void set_led(const char *led, int state)
{
    char board[TRIGGER_SIZE];
    board_trigger(led, board);
    const char *trigger = NO_TRIGGER;
    if (state == LED_AUTOMATIC)
        trigger = board;
    else if (state == LED_BLINKING)
        trigger = "timer";
    const bool triggered = set_attribute(led, "trigger", trigger) && strcmp(trigger, NO_TRIGGER) != 0;

    if (state == LED_OFF)
        set_attribute(led, "brightness", "0");
    else if (!triggered)
        set_full_brightness(led);
}

static void set_panel(int state)
{
    directory_reader leds;
    if (!open_directory(&leds, led_directory()))
        return;
    for (const char *led = next_name(&leds); led != nullptr; led = next_name(&leds)) {
        if (state == LED_AS_FOUND) {
            put_led_back(led);
        } else if (is_of_panel(led)) {
            note_led(led);
            set_led(led, state);
        }
    }
    close_directory(&leds);
}

void set_all_led(int state)
{
    ledger_file *const ledger = ground_ledger;
    if (state < LED_OFF || state > LED_AUTOMATIC)
        return;
    journal_leds(state);
    ledger->led_state = static_cast<uint32_t>(state) + 1;
    ledger->leds_again = 1;
    set_panel(state);
    if (state == LED_AUTOMATIC) { // what the board drives is owed to nobody
        memset(ledger->leds, 0, sizeof ledger->leds);
        ledger->led_state = 0;
    }
    ledger->leds_again = 0;
}

void leds_put_back()
{
    if (ground_ledger->led_state == 0)
        return;
    ground_ledger->leds_again = 1;
    set_panel(LED_AS_FOUND);
}

void leds_go_on()
{
    if (ground_ledger->leds_again != 0)
        set_all_led(static_cast<int>(ground_ledger->led_state) - 1);
}
