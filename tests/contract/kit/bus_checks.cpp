// platform/message_bus.h, program.h, netctrl.h
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

#include "platform/message_bus.h"
#include "platform/netctrl.h"
#include "platform/program.h"
#include "platform/system.h"
#include "tests/contract/kit/kit.h"

// ---- the bus ----

static constexpr const char *NAME = "time_check"; // which the daemon takes

static char taken[256];          // texts, each with a "|" behind it
static bool taken_elsewhere;     // on another thread than this one
static bool taken_inside_itself; // while another was being handed over
static pthread_t main_thread;

static int take(const char *sender, const char *text)
{
    static bool is_inside;
    taken_inside_itself |= is_inside;
    is_inside = true;
    taken_elsewhere |= pthread_equal(pthread_self(), main_thread) == 0;
    const size_t length = strlen(taken);
    snprintf(taken + length, sizeof taken - length, "%s%s|", sender != nullptr ? "" : "(no sender)", text);
    is_inside = false;
    return 0;
}

static bool takes_name()
{
    main_thread = pthread_self();
    return EXPECT(RegMsgHandle(NAME, "*", take) != 0);
}

static void messages_in_order()
{
    NEEDS_ENTRY(post);
    if (!takes_name())
        return;
    for (const char *text : {"one?op=1", "two?op=2,x='a b'", "three"})
        WORLD(post, NAME, text);
    EXPECT_TEXT(taken, "");
    sleep(2);
    EXPECT_TEXT(taken, "one?op=1|two?op=2,x='a b'|three|");
    EXPECT(!taken_elsewhere);
    EXPECT(!taken_inside_itself);
}

static void *post_soon(void * /*nothing*/)
{
    usleep(500000);
    kit_world.post(NAME, "now");
    return nullptr;
}

static void sleep_lasts()
{
    NEEDS_REAL;
    NEEDS_ENTRY(post);
    if (!takes_name())
        return;
    pthread_t poster = {};
    EXPECT_NUMBER(pthread_create(&poster, nullptr, post_soon, nullptr), 0);
    const long long begin = kit_ms();
    sleep(2);
    EXPECT(kit_ms() - begin >= 1950);
    pthread_join(poster, nullptr);
    EXPECT_TEXT(taken, "now|");
}

static void pause_is_silent()
{
    NEEDS_ENTRY(post);
    if (!takes_name())
        return;
    WORLD(post, NAME, "later");
    system_sleep(1);
    EXPECT_TEXT(taken, "");
    sleep(1);
    EXPECT_TEXT(taken, "later|");
}

static void held_name()
{
    WORLD(hold_name, NAME);
    EXPECT_NUMBER(RegMsgHandle(NAME, "*", take), 0);
}

// ---- the program ----

static int ends;
static int readings;

static void end()
{
    if (write(STDOUT_FILENO, "end", 3) == 3)
        ends++;
}

static void read_again()
{
    readings++;
}

static void begin_with(int count, const char *first, const char *second)
{
    char name[] = "time_check";
    char words[2][32];
    snprintf(words[0], sizeof words[0], "%s", first);
    snprintf(words[1], sizeof words[1], "%s", second);
    char *const arguments[] = {name, count > 1 ? words[0] : nullptr, count > 2 ? words[1] : nullptr, nullptr};
    program_begin(count, arguments, end, read_again);
}

static void wrong_arguments()
{
    NEEDS_REAL;
    EXPECT_NUMBER(kit_in_a_process([] { begin_with(2, "--no-such-thing", ""); }, nullptr, 0), 2);
    EXPECT_NUMBER(kit_in_a_process([] { begin_with(2, "7", ""); }, nullptr, 0), 2);
    EXPECT_NUMBER(kit_in_a_process([] { begin_with(3, "--help", "more"); }, nullptr, 0), 2);
}

static void help_and_version()
{
    NEEDS_REAL;
    char text[1024] = "";
    EXPECT_NUMBER(kit_in_a_process([] { begin_with(2, "--help", ""); }, text, sizeof text), 0);
    EXPECT(strlen(text) > 20);
    EXPECT_NUMBER(kit_in_a_process([] { begin_with(2, "--version", ""); }, text, sizeof text), 0);
    EXPECT(strlen(text) > 5);
}

static void no_arguments()
{
    static bool came_back;
    begin_with(1, "", "");
    came_back = true;
    EXPECT(came_back);
    EXPECT_NUMBER(readings + ends, 0);
}

static void reading_again()
{
    NEEDS_ENTRY(ask_to_read_again);
    begin_with(1, "", "");
    if (!takes_name())
        return;
    sleep(1);
    EXPECT_NUMBER(readings, 0);
    WORLD(ask_to_read_again);
    sleep(2);
    EXPECT_NUMBER(readings, 1);
    EXPECT_NUMBER(ends, 0);
}

static void ask_and_wait()
{
    begin_with(1, "", "");
    if (RegMsgHandle(NAME, "*", take) == 0)
        return;
    sleep(1);
    if (kit_world.ask_to_end() != 0)
        return;
    sleep(10);
}

static void orderly_end()
{
    NEEDS_ENTRY(ask_to_end);
    char text[256] = "";
    EXPECT_NUMBER(kit_in_a_process(ask_and_wait, text, sizeof text), 0);
    EXPECT_TEXT(text, "end");
}

// ---- netctrl ----

static void message_to_netctrl()
{
    char heard[64] = "";
    WORLD(netctrl_listens, 1);
    EXPECT_NUMBER(send_msg_to_netctrl(WIFI_MODULE, "op=9,wl_rate=24"), 0);
    WORLD(netctrl_heard, heard, sizeof heard);
    EXPECT_TEXT(heard, "19?op=9,wl_rate=24");
}

static void nobody_is_netctrl()
{
    WORLD(netctrl_listens, 0);
    const long long begin = kit_ms();
    EXPECT_NUMBER(send_msg_to_netctrl(WIFI_MODULE, "op=9"), -1);
    EXPECT(kit_ms() - begin < 10000);
}

static constexpr const char *BUS = "message_bus.h";
static constexpr const char *PROGRAM = "program.h";
static constexpr const char *NETCTRL = "netctrl.h";

static constexpr kit_check CHECKS[] = {
    {BUS, "RegMsgHandle", "messages are handed over in order, on the main thread, inside sleep", messages_in_order},
    {BUS, "RegMsgHandle", "a message does not shorten the sleep in which it is handed over", sleep_lasts},
    {BUS, "RegMsgHandle system_sleep", "nothing is handed over inside system_sleep", pause_is_silent},
    {BUS, "RegMsgHandle", "a name that another process holds cannot be taken", held_name},
    {PROGRAM, "program_begin", "unknown arguments end the program with status 2", wrong_arguments},
    {PROGRAM, "program_begin", "--help and --version print and end it with status 0", help_and_version},
    {PROGRAM, "program_begin", "without arguments it returns, and nothing is asked yet", no_arguments},
    {PROGRAM, "program_begin", "who asks has the settings read again, once, inside sleep", reading_again},
    {PROGRAM, "program_begin", "who asks for the end has `end` called, once, and the program end", orderly_end},
    {NETCTRL, "send_msg_to_netctrl", "netctrl gets MODULE?TEXT", message_to_netctrl},
    {NETCTRL, "send_msg_to_netctrl", "without a netctrl it fails, in bounded time", nobody_is_netctrl},
};

const kit_list bus_checks = kit_list_of(CHECKS);
