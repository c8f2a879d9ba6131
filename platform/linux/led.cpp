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

enum led_state { LED_OFF = 0, LED_ON = 1, LED_BLINKING = 2, LED_AUTOMATIC = 3 };

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

static void set_full_brightness(const char *led)
{
    char path[PATH_SIZE];
    char full[16];
    led_path(path, led, "max_brightness");
    if (!read_first_line(path, full, sizeof full) || full[0] == '\0')
        strcpy(full, "1");
    set_attribute(led, "brightness", full);
}

// The trigger in force is the one in square brackets. "none" when there is no telling.
static void read_trigger(const char *led, char (&trigger)[TRIGGER_SIZE])
{
    char path[PATH_SIZE];
    char line[4096]; // what a file of this kind can hold
    led_path(path, led, "trigger");
    read_first_line(path, line, sizeof line);
    const char *const begin = strchr(line, '[');
    const size_t length = begin == nullptr ? 0 : strcspn(begin + 1, "]");
    if (length == 0 || length >= sizeof trigger) {
        strcpy(trigger, "none");
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

static void set_led(const char *led, int state)
{
    char board[TRIGGER_SIZE];
    board_trigger(led, board);
    const char *trigger = "none";
    if (state == LED_AUTOMATIC)
        trigger = board;
    else if (state == LED_BLINKING)
        trigger = "timer";
    const bool triggered = set_attribute(led, "trigger", trigger) && strcmp(trigger, "none") != 0;

    if (state == LED_OFF)
        set_attribute(led, "brightness", "0");
    else if (!triggered)
        set_full_brightness(led);
}

void set_all_led(int state)
{
    directory_reader leds;
    if (state < LED_OFF || state > LED_AUTOMATIC)
        return;
    journal_leds(state);
    if (!open_directory(&leds, led_directory()))
        return;
    for (const char *led = next_name(&leds); led != nullptr; led = next_name(&leds))
        if (is_of_panel(led))
            set_led(led, state);
    close_directory(&leds);
}
