// What is printed of the daemon's calls of its ground (platform/trace), on the virtual router.
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <thread>
#include <unistd.h>

#include "platform/message_bus.h"
#include "platform/sim/virtual_router.h"
#include "platform/statistics.h"
#include "platform/status.h"
#include "platform/wifi.h"

extern "C" {
int trace_GetValue(const char *key, char *value, size_t size);
int trace_SetValue(const char *key, const char *value);
int trace_CommitCfm(void);
int trace_RegMsgHandle(const char *name, const char *filter, message_handle_fn given);
void trace_program_begin(int count, char *const arguments[], void (*end)(void), void (*read_again)(void));
int trace_send_msg_to_netctrl(int module, const char *text);
int trace_doSystemCmd(const char *format, ...) __attribute__((format(printf, 1, 2)));
int trace__eval(char *const argv[], const char *redirect, int timeout, int *pid); // NOLINT
int trace_get_uptime(void);
void trace_system_sleep(int seconds);
int trace_utc2tm(const char *text, struct tm *out);
void trace_set_all_led(int state);
int trace_vos_strcmp(const char *left, const char *right);
char *trace_vos_str_trim(char *text);
int trace_vos_get_value_from_file(const char *file, const char *key, char *value);
int trace_getIfIp(const char *ifname, char *address);
const char *trace_get_eth_name(int id);
int trace_ping_by_interface(const char *address, int count, const char *ifname);
int trace_get_statistic_info(uint64_t *first, uint64_t *second, int *count);
int trace_tpi_wifi_get_ifname(int band, int kind, char *ifname);
void trace_status_publish(enum status_part part);
}

namespace
{

constexpr const char *PASSWORD = "wl.wisp.pppoe_password";

class GroundTrace : public testing::Test
{
protected:
    GroundTrace()
    {
        EXPECT_EQ(pipe(ends_), 0);
        setenv("TIME_CHECK_TRACE_FD", std::to_string(ends_[1]).c_str(), 1);
        trace_get_uptime(); // the thread of the first call is the main one
        lines();
    }
    ~GroundTrace() override
    {
        close(ends_[0]);
        close(ends_[1]);
    }

    // The lines since the last time; their times as "T" where they have the right form.
    std::string lines() const
    {
        EXPECT_EQ(write(ends_[1], "|", 1), 1);
        std::string text;
        char byte = '\0';
        while (read(ends_[0], &byte, 1) == 1 && byte != '|')
            text += byte;
        text = std::regex_replace(text, std::regex(R"((^|\n)\[ *\d+\.\d{3} )"), "$1[T ");
        return std::regex_replace(text, std::regex(R"( <\d+\.\d{3}>\n)"), " <T>\n");
    }

private:
    int ends_[2] = {-1, -1};
};

TEST_F(GroundTrace, ArgumentsResultAndWhatABufferWasFilledWith)
{
    char value[16];
    sim::router().store.set("test.key", "a \"b\"\n\\");
    EXPECT_EQ(trace_GetValue("test.key", value, sizeof value), 1);
    EXPECT_EQ(lines(), R"([T main] GetValue("test.key", 16) = 1 "a \"b\"\x0a\\" <T>)"
                       "\n");
    EXPECT_EQ(trace_GetValue("test.absent", value, sizeof value), 0);
    EXPECT_EQ(lines(), "[T main] GetValue(\"test.absent\", 16) = 0 <T>\n");
    EXPECT_EQ(trace_SetValue("test.key", "1"), 1);
    EXPECT_EQ(lines(), "[T main] SetValue(\"test.key\", \"1\") = 1 <T>\n");
    EXPECT_EQ(sim::router().store.get("test.key"), "1");
    sim::router().network.set_address("wan1", "192.0.2.7");
    char address[64];
    EXPECT_EQ(trace_getIfIp("wan1", address), 0);
    EXPECT_EQ(trace_getIfIp("wan9", address), -1);
    EXPECT_EQ(lines(), "[T main] getIfIp(\"wan1\") = 0 \"192.0.2.7\" <T>\n[T main] getIfIp(\"wan9\") = -1 <T>\n");
    EXPECT_EQ(trace_get_eth_name(77), nullptr);
    EXPECT_EQ(lines(), "[T main] get_eth_name(77) = null <T>\n");
    char name[WIFI_IFNAME_SIZE];
    EXPECT_EQ(trace_tpi_wifi_get_ifname(24, TPI_WIFI_KIND_CLIENT, name), 0);
    EXPECT_EQ(lines(), "[T main] tpi_wifi_get_ifname(24, 4) = 0 \"wlc0\" <T>\n");
    trace_set_all_led(2);
    EXPECT_EQ(lines(), "[T main] set_all_led(2) <T>\n");
}

TEST_F(GroundTrace, TimesHostsAndPartsInWordsOfTheirOwn)
{
    tm parsed = {};
    EXPECT_EQ(trace_utc2tm("Mon 7:05", &parsed), 0);
    EXPECT_EQ(trace_utc2tm("never", &parsed), -1);
    EXPECT_EQ(lines(), "[T main] utc2tm(\"Mon 7:05\") = 0 07:05, days 0x02 <T>\n[T main] utc2tm(\"never\") = -1 <T>\n");
    sim::router().network.set_host("192.168.0.10", 384, 5);
    uint64_t first = 0;
    uint64_t second = 0;
    int count = 0;
    EXPECT_EQ(trace_get_statistic_info(&first, &second, &count), 0);
    EXPECT_EQ(lines(), "[T main] get_statistic_info() = 0 1 hosts 384/5 <T>\n");
    free(ip_info);
    ip_info = nullptr;
    status_page()->wans.changed = 1;
    trace_status_publish(STATUS_PART_WANS);
    EXPECT_EQ(lines(), "[T main] status_publish(wans) <T>\n");
    EXPECT_EQ(status_page()->wans.changed, 0U);
}

TEST_F(GroundTrace, CallsThatMayWaitHaveALineBefore)
{
    EXPECT_NE(trace_CommitCfm(), 0);
    trace_system_sleep(3);
    EXPECT_EQ(lines(), "[T main] CommitCfm() ...\n[T main] CommitCfm() = 1 <T>\n"
                       "[T main] system_sleep(3) ...\n[T main] system_sleep(3) <T>\n");
    EXPECT_EQ(trace_ping_by_interface("192.0.2.1", 2, nullptr), -1);
    EXPECT_EQ(lines(), "[T main] ping_by_interface(\"192.0.2.1\", 2, null) ...\n"
                       "[T main] ping_by_interface(\"192.0.2.1\", 2, null) = -1 <T>\n");
}

TEST_F(GroundTrace, CommandsAreAsTheGroundGetsThem)
{
    EXPECT_EQ(trace_doSystemCmd("true %d '%s'", 7, "a b"), 0);
    EXPECT_EQ(lines(), "[T main] doSystemCmd(\"true 7 'a b'\") ...\n[T main] doSystemCmd(\"true 7 'a b'\") = 0 <T>\n");
    EXPECT_EQ(sim::router().journal.lines().back(), "command true 7 'a b'");
    EXPECT_EQ(trace_doSystemCmd("%s", std::string(5000, 'x').c_str()), -1);
    EXPECT_EQ(sim::router().journal.lines().back(), "command too long");
    lines();
    char program[] = "killall";
    char argument[] = "x";
    char *const argv[] = {program, argument, nullptr};
    int pid = 0;
    EXPECT_EQ(trace__eval(argv, ">/dev/null", 5, &pid), 0);
    EXPECT_EQ(lines(), "[T main] _eval(\"killall x\", \">/dev/null\", 5) ...\n"
                       "[T main] _eval(\"killall x\", \">/dev/null\", 5) = 0 pid 1 <T>\n");
}

TEST_F(GroundTrace, SecretsAreNotShown)
{
    sim::router().store.set(PASSWORD, "hunter'2");
    char value[16];
    EXPECT_EQ(trace_GetValue(PASSWORD, value, sizeof value), 1);
    EXPECT_STREQ(value, "hunter'2") << "the daemon gets it";
    trace_SetValue(PASSWORD, "hunter'2");
    trace_doSystemCmd("pppoecd wan1 -x 'hunter'\\''2'");
    trace_doSystemCmd("pppoecd wan1 -u somebody -p other");
    trace_send_msg_to_netctrl(2, "op=1,p=hunter'2");
    char text[] = " hunter'2 ";
    trace_vos_str_trim(text);
    trace_vos_strcmp("hunter'2", "x");
    char program[] = "pppoecd";
    char *const argv[] = {program, text, nullptr};
    trace__eval(argv, nullptr, 0, nullptr);
    const std::string shown = lines();
    EXPECT_EQ(shown.find("hunter"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("other"), std::string::npos) << shown;
    EXPECT_NE(shown.find("GetValue(\"wl.wisp.pppoe_password\", 16) = 1 \"***\" <T>\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("doSystemCmd(\"pppoecd ***\") ..."), std::string::npos) << shown;
}

std::string taken;
int ends;

int take(const char *sender, const char *text)
{
    taken = std::string(sender) + ":" + text;
    return 0;
}

TEST_F(GroundTrace, WhatTheGroundCallsIsPrintedAndHandedOn)
{
    char name[] = "time_check";
    char *const arguments[] = {name, nullptr};
    trace_program_begin(
        1, arguments, [] { ends++; }, [] {});
    EXPECT_NE(trace_RegMsgHandle("time_check", "*", take), 0);
    EXPECT_EQ(lines(), "[T main] program_begin() ...\n[T main] program_begin() <T>\n"
                       "[T main] RegMsgHandle(\"time_check\", \"*\") = 1 <T>\n");
    EXPECT_TRUE(sim::router().post("time_check_led?op=1", "cfm"));
    EXPECT_EQ(taken, "cfm:time_check_led?op=1");
    EXPECT_EQ(lines(), "[T main] message(\"cfm\", \"time_check_led?op=1\") ...\n"
                       "[T main] message(\"cfm\", \"time_check_led?op=1\") <T>\n");
}

TEST_F(GroundTrace, OtherThreadIsTold)
{
    std::thread([] { trace_get_eth_name(77); }).join();
    EXPECT_EQ(lines(), "[T wans] get_eth_name(77) = null <T>\n");
}

TEST_F(GroundTrace, LongTextsAreCutAndLinesStayWhole)
{
    trace_SetValue("test.key", std::string(5000, 'x').c_str());
    EXPECT_EQ(lines(), "[T main] SetValue(\"test.key\", \"" + std::string(400, 'x') + "\"...) = 1 <T>\n");
    trace_SetValue(std::string(300, '\1').c_str(), std::string(300, '\2').c_str());
    const std::string line = lines();
    EXPECT_GT(line.size(), 1150U) << "what the buffer holds, with a shorter time";
    EXPECT_LT(line.size(), 1200U);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
}

TEST_F(GroundTrace, LinesGoToStandardErrorUnlessSaidOtherwise)
{
    setenv("TIME_CHECK_TRACE_FD", "", 1);
    testing::internal::CaptureStderr();
    trace_get_eth_name(77);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("get_eth_name(77) = null"), std::string::npos);
    EXPECT_EQ(lines(), "");
}

} // namespace
