// Events of the journal: what belongs together, what is told once, and in a month of random settings and faults nothing
// that was done is missing and nothing is told that was not done.
#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/faults_world.h"
#include "tools/tcctl/event.h"

namespace
{

using namespace soak;
using tcctl::event;

// ---- what belongs together ----

journal_record act_of(uint8_t who, uint8_t verdict, uint8_t kind, const std::string &text, int32_t uptime)
{
    journal_record act = {};
    act.who = who;
    act.verdict = verdict;
    act.kind = kind;
    act.uptime = act.last_uptime = uptime;
    act.time = act.last = 1772593953 + uptime;
    act.times = 1;
    text.copy(act.text, sizeof act.text - 1);
    return act;
}

std::vector<event> events_of(std::vector<journal_record> acts)
{
    tcctl::event_maker maker;
    std::vector<event> events;
    uint32_t sequence = 0;
    for (journal_record &act : acts) {
        act.sequence = ++sequence;
        maker.take(act, events);
    }
    maker.flush(events);
    return events;
}

std::vector<std::string> texts_of(const std::vector<event> &events)
{
    std::vector<std::string> texts;
    texts.reserve(events.size());
    for (const event &told : events)
        texts.push_back(text_of(told));
    return texts;
}

constexpr uint8_t SWITCHING_OFF = 5;

std::vector<journal_record> wifi_goes_off()
{
    const auto act = [](uint8_t kind, const char *text, int32_t uptime) {
        return act_of(STATUS_WIFI, SWITCHING_OFF, kind, text, uptime);
    };
    return {act(JOURNAL_SET, "set wl2g.public.enable=0", 100), act(JOURNAL_SET, "set wl5g.public.enable=0", 100),
            act(JOURNAL_COMMIT, "commit", 100),
            act(JOURNAL_COMMAND, "command cfm post netctrl 19?op=2,wl_rate=24", 100),
            act(JOURNAL_COMMAND, "command cfm post netctrl 19?op=2,wl_rate=5", 101)};
}

TEST(Events, SettingsCommitAndMessagesAreOneEvent)
{
    const std::vector<event> events = events_of(wifi_goes_off());
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(text_of(events[0]), "Wi-Fi off, both bands: a period has started");
    EXPECT_EQ(name_of(events[0].kind()), "wifi_off");
    EXPECT_EQ(events[0].reason, "switching_off");
}

TEST(Events, ACommitThatFailsIsAnEventOfItsOwn)
{
    std::vector<journal_record> acts = wifi_goes_off();
    acts.resize(3);
    acts.back() = act_of(STATUS_WIFI, SWITCHING_OFF, JOURNAL_COMMIT, "commit failed", 100);
    acts.back().failed = 1;
    const std::vector<event> events = events_of(acts);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(name_of(events[0].kind()), "minor");
    EXPECT_EQ(name_of(events[1].kind()), "commit_failed");
}

TEST(Events, AnotherThreadsActsInBetweenBelongToOthers)
{
    std::vector<journal_record> acts = wifi_goes_off();
    acts.insert(acts.begin() + 2, act_of(STATUS_WAN1, 4, JOURNAL_SET, "set wan1_isonln=0", 100));
    const std::vector<std::string> texts = texts_of(events_of(acts));
    EXPECT_EQ(texts.size(), 2U);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Wi-Fi off, both bands: a period has started"), 1);
}

TEST(Events, WhatStandsThereAlreadyIsNoChange)
{
    constexpr uint8_t NO_FAULT = 3;
    constexpr uint8_t LASTS = 8;
    const std::vector<event> events =
        events_of({act_of(STATUS_STOPPAGE, NO_FAULT, JOURNAL_SET, "set stoppage_flag=0", 10),
                   act_of(STATUS_STOPPAGE, LASTS, JOURNAL_SET, "set stoppage_flag=1", 50),
                   act_of(STATUS_STOPPAGE, LASTS, JOURNAL_SET, "set stoppage_flag=1", 90),
                   act_of(STATUS_STOPPAGE, NO_FAULT, JOURNAL_SET, "set stoppage_flag=0", 130)});
    std::vector<std::string_view> names;
    names.reserve(events.size());
    for (const event &told : events)
        names.push_back(name_of(told.kind()));
    EXPECT_EQ(names, (std::vector<std::string_view>{"minor", "fault_lasts", "minor", "fault_gone"}));
}

TEST(Events, ARestartSaysWhatLedToIt)
{
    constexpr uint8_t ARMED = 5;
    constexpr uint8_t RESTARTING = 11;
    journal_record armed = act_of(STATUS_REBOOT, ARMED, JOURNAL_COMMAND, "command date", 10);
    armed.next = armed.time + 60;
    const std::vector<event> events = events_of(
        {armed, act_of(STATUS_REBOOT, RESTARTING, JOURNAL_REBOOT, "reboot", 70),
         act_of(STATUS_REBOOT, RESTARTING, JOURNAL_START, "started: after the daemon's restart of the machine", 20)});
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(name_of(events[0].kind()), "restart_armed");
    EXPECT_EQ(text_of(events[1]), "restarts the router: armed");
    EXPECT_EQ(text_of(events[2]), "boot: the restart was ours (reboot, armed)");
}

// What a hostile or damaged journal may hold.
TEST(Events, AnyRecordIsTold)
{
    for (int who = 0; who < 256; who += 5)
        for (int kind = 0; kind < 256; kind += 3)
            for (const char *text : {"", "set", "set =", "netctrl", "netctrl 19?op=", "command ", "set a=\xff\n"}) {
                journal_record act = act_of(static_cast<uint8_t>(who), static_cast<uint8_t>(who + kind),
                                            static_cast<uint8_t>(kind), text, -5);
                act.failed = kind % 2 != 0;
                const std::vector<event> events = events_of({act});
                EXPECT_LE(events.size(), 2U);
                for (const event &told : events)
                    EXPECT_NO_THROW(text_of(told));
            }
}

// ---- a month ----

// What must be told of an act, by its text alone; none: it is housekeeping.
struct must {
    const char *beginning;
    const char *event;
};

constexpr std::array MUSTS = {must{"command cfm post netctrl 19?op=1,", "wifi_on"},
                              must{"command cfm post netctrl 19?op=2,", "wifi_off"},
                              must{"command cfm post netctrl 19?op=3,", "wifi_restarted"},
                              must{"leds 0", "leds_off"},
                              must{"leds 3", "leds_on"},
                              must{"netctrl 19?op=9", "guest_closed"},
                              must{"netctrl 19?op=15", "uplink_lost"},
                              must{"netctrl 19?op=16", "uplink_back"},
                              must{"netctrl 35?op=9", "upstream_lost"},
                              must{"netctrl 35?op=8", "upstream_back"},
                              must{"command ifconfig ", "uplink_bounced"},
                              must{"command wlconf ", "uplink_cipher"},
                              must{"command cfm post netctrl 52?op=16", "wan_told_offline"},
                              must{"command cfm post netctrl 52?op=15", "wan_told_online"},
                              must{"command cfm post netctrl 53?op=1", "fault_page_start"},
                              must{"command cfm post netctrl 53?op=2", "fault_page_stop"},
                              must{"command killall -9 httpd", "process_killed"},
                              must{"command killall -9 minidlna", "process_restarted"},
                              must{"commit failed", "commit_failed"},
                              must{"reboot", "restart"}};

// Of these the value that was there before counts as well.
constexpr std::array OWN_KEYS = {
    must{"set wan1_isonln=0", "wan_offline"},           must{"set wan1_isonln=1", "wan_online"},
    must{"set wan2_isonln=0", "wan_offline"},           must{"set wan2_isonln=1", "wan_online"},
    must{"set stoppage_flag=1", "fault_lasts"},         must{"set stoppage_flag=0", "fault_gone"},
    must{"set sys.is.pwr.save.mode=1", "power_asleep"}, must{"set sys.is.pwr.save.mode=0", "power_awake"}};

class Month
{
public:
    explicit Month(unsigned seed) : dice_(seed)
    {
        box.log.keep(false);
        box.journal.on_record([this](const journal_record &act) { note(act); });
        configure_all();
    }

    void run(int days)
    {
        enter(MODES[0]);
        ASSERT_TRUE(box.boot());
        for (int day = 0; day < days; day++) {
            const Mode &mode = dice_.one_of(MODES);
            enter(mode);
            for (int hour = 0; hour < 24; hour++)
                pass_hour(mode);
            box.journal.clear();
            box.faults.clear();
        }
    }

    void expect_all_told()
    {
        std::vector<event> events;
        for (const journal_record &act : acts_)
            maker_.take(act, events);
        maker_.flush(events);
        std::map<uint32_t, std::set<std::string>> told; // by the number of the act
        for (const event &each : events)
            compare(each, told);
        for (const auto &[number, name] : musts_)
            EXPECT_TRUE(told[number].contains(name)) << name << " is missing: " << acts_.at(number - 1).text;
        for (const auto &[who, name] : seen_)
            kinds_.insert(name);
    }

    const std::set<std::string> &kinds() const
    {
        return kinds_;
    }

private:
    void pass_hour(const Mode &mode)
    {
        const Fault *fault = &dice_.one_of(FAULTS);
        while ((fault->modes & mode.id) == 0)
            fault = &dice_.one_of(FAULTS);
        fault->begin(dice_);
        box.run(2700);
        fault->end();
        box.run(300);
        lose_both_cables();
    }

    // Long enough for the fault page.
    static void lose_both_cables()
    {
        for (const int wan : {1, 2}) {
            box.network.set_link(wan, false);
            box.network.set_address("eth" + std::to_string(wan), "");
        }
        box.run(120);
        mend_network();
        box.run(480);
    }

    void note(const journal_record &act)
    {
        if (act.kind == JOURNAL_FILE)
            return;
        journal_record kept = act;
        kept.sequence = static_cast<uint32_t>(acts_.size()) + 1;
        acts_.push_back(kept);
        const std::string text = act.text;
        for (const must &each : MUSTS)
            if (text.starts_with(each.beginning) && !text.ends_with("index=1"))
                musts_.emplace_back(kept.sequence, each.event);
        for (const must &each : OWN_KEYS)
            if (text == each.beginning && is_news(text))
                musts_.emplace_back(kept.sequence, each.event);
    }

    // A first value counts, unless it is the one that there is before anything has happened.
    bool is_news(const std::string &text)
    {
        const std::string key = text.substr(0, text.find('='));
        const auto before = last_.find(key);
        const bool is_first = before == last_.end();
        const bool is_same = !is_first && before->second == text;
        last_[key] = text;
        return !is_same && (!is_first || !text.ends_with("=0") || key.ends_with("_isonln"));
    }

    // Each of its acts is one that was done, by this module, by this finding, at that time; and what it says it changed
    // is what one of them must be told as, if there is a must for such.
    void compare(const event &told, std::map<uint32_t, std::set<std::string>> &all)
    {
        std::set<std::string> musts;
        for (const journal_record &act : told.acts) {
            const journal_record &done = acts_.at(act.sequence - 1);
            EXPECT_STREQ(done.text, act.text);
            EXPECT_EQ(tcctl::module_of(done.who), tcctl::module_of(told.first().who));
            EXPECT_EQ(tcctl::reason_of(done.who, done.verdict), told.reason);
            EXPECT_LE(done.uptime - told.first().uptime,
                      tcctl::event_maker::GAP_S * static_cast<int>(told.acts.size()));
            for (const auto &[number, name] : musts_of(act.sequence))
                musts.insert(name);
        }
        for (const tcctl::change &each : told.changes) {
            const std::string name(name_of(each.kind));
            seen_.emplace(told.first().who, name);
            for (const journal_record &act : told.acts)
                all[act.sequence].insert(name);
            if (is_a_must(name) && name != "leds_off") // which a set alone may be: LEDs that go off by other means
            {
                EXPECT_TRUE(musts.contains(name)) << name << " is invented: " << text_of(told);
            }
        }
    }

    std::vector<std::pair<uint32_t, std::string>> musts_of(uint32_t number) const
    {
        std::vector<std::pair<uint32_t, std::string>> found;
        const auto from = std::lower_bound(musts_.begin(), musts_.end(), std::pair<uint32_t, std::string>(number, ""));
        for (auto at = from; at != musts_.end() && at->first == number; ++at)
            found.push_back(*at);
        return found;
    }

    static bool is_a_must(const std::string &name)
    {
        const auto is_it = [&](const must &each) { return name == each.event; };
        return std::any_of(MUSTS.begin(), MUSTS.end(), is_it) || std::any_of(OWN_KEYS.begin(), OWN_KEYS.end(), is_it);
    }

    Dice dice_;
    tcctl::event_maker maker_;
    std::vector<journal_record> acts_;
    std::vector<std::pair<uint32_t, std::string>> musts_;
    std::map<std::string, std::string> last_;
    std::set<std::pair<uint8_t, std::string>> seen_;
    std::set<std::string> kinds_;
};

class EventsMonth : public RouterTest
{
};

TEST_F(EventsMonth, TellsWhatWasDoneAndNothingElse)
{
    constexpr int DAYS = 31;
    Month month(20261122);
    month.run(DAYS);
    month.expect_all_told();
    for (const char *name :
         {"wifi_off", "wifi_on", "leds_off", "leds_on", "guest_closed", "wan_offline", "wan_online", "power_asleep",
          "power_awake", "restart", "restart_armed", "uplink_lost", "uplink_back", "upstream_lost", "fault_lasts",
          "fault_gone", "process_killed", "process_restarted", "commit_failed"})
        EXPECT_TRUE(month.kinds().contains(name)) << name << " never happened";
}

} // namespace
