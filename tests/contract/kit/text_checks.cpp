// platform/system.h and vos.h: what needs nothing of the world, or a file.
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/config_store.h"
#include "platform/system.h"
#include "platform/vos.h"
#include "tests/contract/kit/kit.h"

static void uptime_passes()
{
    const int before = get_uptime();
    EXPECT(before >= 0);
    system_sleep(2);
    const int passed = get_uptime() - before;
    EXPECT(passed >= 1);
    EXPECT(passed <= 20);
}

static void pause_lasts()
{
    NEEDS_REAL;
    const long long begin = kit_ms();
    system_sleep(1);
    const long long passed = kit_ms() - begin;
    EXPECT(passed >= 990);
    EXPECT(passed < 10000);
}

static void mode_is_a_key()
{
    EXPECT_NUMBER(get_sys_mode(), 0);
    EXPECT_NUMBER(SetValue("sys.mode", "2"), 1);
    EXPECT_NUMBER(get_sys_mode(), 2);
}

static void process_by_name()
{
    EXPECT_NUMBER(check_app("dhttpd"), 0);
    WORLD(process, "dhttpd");
    EXPECT_NUMBER(check_app("dhttpd"), 1);
    for (const char *other : {"dhttp", "dhttpd2", "ttpd", ""}) {
        kit_about(other);
        EXPECT_NUMBER(check_app(other), 0);
    }
    kit_about(nullptr);
    WORLD(end_processes);
    EXPECT_NUMBER(check_app("dhttpd"), 0);
}

// ---- times ----

struct weekly {
    const char *text;
    int hour;
    int minute;
    int days;
};

static constexpr weekly TIMES[] = {
    {"00:00", 0, 0, 0b1111111},          {"23:59", 23, 59, 0b1111111},         {"7:5", 7, 5, 0b1111111},
    {"Sun 22:05", 22, 5, 0b0000001},     {"Sat 1:30", 1, 30, 0b1000000},       {"Mon,Wed,Fri 06:00", 6, 0, 0b0101010},
    {"Mon..Fri 06:00", 6, 0, 0b0111110}, {"Fri..Mon 22:05", 22, 5, 0b1100011}, {"Sun,Tue..Thu 8:00", 8, 0, 0b0011101},
};

static void weekly_times()
{
    for (const weekly &each : TIMES) {
        tm parsed = {};
        kit_about(each.text);
        EXPECT_NUMBER(utc2tm(each.text, &parsed), 0);
        EXPECT_NUMBER(parsed.tm_hour, each.hour);
        EXPECT_NUMBER(parsed.tm_min, each.minute);
        EXPECT_NUMBER(parsed.tm_wday, each.days);
    }
}

static void no_times()
{
    for (const char *text : {"", "24:00", "12:60", "12", "12:", ":30", "Mon  12:00", " 12:00", "12:00 ", "mon 12:00",
                             "Mon, 12:00", "Mon.Fri 12:00", "Mon..", "-1:00", "012:00", "12:000", "Mon12:00"}) {
        tm parsed = {};
        parsed.tm_hour = 99;
        parsed.tm_wday = 77;
        kit_about(text);
        EXPECT_NUMBER(utc2tm(text, &parsed), -1);
        EXPECT_NUMBER(parsed.tm_hour, 99);
        EXPECT_NUMBER(parsed.tm_wday, 77);
    }
}

// ---- texts ----

static int sign(int number)
{
    return (number > 0) - (number < 0);
}

static void comparison()
{
    EXPECT_NUMBER(vos_strcmp("a", "a"), 0);
    EXPECT_NUMBER(sign(vos_strcmp("a", "b")), -1);
    EXPECT_NUMBER(sign(vos_strcmp("b", "a")), 1);
    EXPECT_NUMBER(sign(vos_strcmp("", "a")), -1);
    EXPECT_NUMBER(vos_strcmp(nullptr, nullptr), 0);
    EXPECT_NUMBER(sign(vos_strcmp(nullptr, "")), -1);
    EXPECT_NUMBER(sign(vos_strcmp("", nullptr)), 1);
}

static void trimming()
{
    char text[] = " \t\r\n a b\t \r\n";
    char *const trimmed = vos_str_trim(text);
    EXPECT_TEXT(trimmed, "a b");
    EXPECT(trimmed == text);
    char blanks[] = " \t";
    EXPECT_TEXT(vos_str_trim(blanks), "");
    EXPECT(vos_str_trim(nullptr) == nullptr);
}

static void settings_file()
{
    char path[512];
    char value[VOS_FILE_VALUE_SIZE + 8];
    memset(value, '#', sizeof value);
    WORLD(file, "ip=10.0.0.9\n gateway = 10.0.0.1 \r\ngateway=10.0.0.2\nlast=1234567890123456", path, sizeof path);
    EXPECT_NUMBER(vos_get_value_from_file(path, "gateway", value), 0);
    EXPECT_TEXT(value, "10.0.0.1");
    EXPECT_NUMBER(vos_get_value_from_file(path, "last", value), 0);
    EXPECT_TEXT(value, "123456789012345");
    EXPECT_NUMBER(value[VOS_FILE_VALUE_SIZE], '#');
    EXPECT_NUMBER(vos_get_value_from_file(path, "way", value), -1);
    EXPECT_TEXT(value, "");
}

static void no_settings_file()
{
    char value[VOS_FILE_VALUE_SIZE] = "before";
    EXPECT_NUMBER(vos_get_value_from_file("/no/such/file", "key", value), -1);
    EXPECT_TEXT(value, "");
}

static constexpr const char *SYSTEM = "system.h";
static constexpr const char *VOS = "vos.h";

static constexpr kit_check CHECKS[] = {
    {SYSTEM, "get_uptime system_sleep", "the up-time goes on by what passes", uptime_passes},
    {SYSTEM, "system_sleep", "a pause lasts as long as it says", pause_lasts},
    {SYSTEM, "get_sys_mode", "the mode is the number under sys.mode, 0 when that is missing", mode_is_a_key},
    {SYSTEM, "check_app", "a process is found by exactly its name, while it runs", process_by_name},
    {SYSTEM, "utc2tm", "a weekly time is parsed, days and all", weekly_times},
    {SYSTEM, "utc2tm", "what is no weekly time is refused, and changes nothing", no_times},
    {VOS, "vos_strcmp", "texts are compared, and no text is less than any", comparison},
    {VOS, "vos_str_trim", "blanks, tabs and line ends go from both ends, in place", trimming},
    {VOS, "vos_get_value_from_file", "the first line with the key counts; a longer value is cut", settings_file},
    {VOS, "vos_get_value_from_file", "a file that is not there gives an empty value", no_settings_file},
};

const kit_list text_checks = kit_list_of(CHECKS);
