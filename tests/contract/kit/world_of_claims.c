/* A world that claims to do everything and does nothing: on a ground that only links, a check that passes here has not
 * looked at what it promises. */
#include <stdio.h>

#include "tests/contract/kit/world.h"

static int none(void)
{
    return 0;
}

static void nothing(void)
{
}

static int key(const char *name, const char *value)
{
    (void)name;
    (void)value;
    return 0;
}

static int text(char *value, size_t size)
{
    snprintf(value, size, "nothing");
    return 0;
}

static int value_of(const char *name, char *value, size_t size)
{
    (void)name;
    return text(value, size);
}

static int name(const char *one)
{
    (void)one;
    return 0;
}

static int number(int one)
{
    (void)one;
    return 0;
}

static int leds(void)
{
    return 3;
}

static int traffic(const char *host, int sent, int received)
{
    (void)host;
    (void)sent;
    (void)received;
    return 0;
}

const struct world kit_world = {
    .name = "a ground that only links, in a world that claims everything",
    .begin = none,
    .end = nothing,
    .restart = none,
    .set_elsewhere = key,
    .get_elsewhere = value_of,
    .post = key,
    .hold_name = name,
    .ask_to_end = none,
    .ask_to_read_again = none,
    .netctrl_listens = number,
    .netctrl_heard = text,
    .command_deadline_s = 1,
    .process = name,
    .end_processes = none,
    .leds = leds,
    .restarts = none,
    .file = value_of,
    .lan_address = name,
    .wan_cable = number,
    .wan_address = name,
    .radio = number,
    .user_changes_uplink = number,
    .traffic = traffic,
};
