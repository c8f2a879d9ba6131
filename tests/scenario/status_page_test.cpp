// A month of the whole daemon in all its modes, with faults, messages, settings that change and a clock that is
// stepped: after every tick the status page says what the modules found, since when, and with which numbers.
//
// STATUS_DAYS in the environment: for how many days, thirty if not given.
#include <cstdlib>
#include <set>

#include "platform/status.h"
#include "tests/support/faults_world.h"
#include "time_check/time_check_ap_connect.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_daemon.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_reboot.h"
#include "time_check/time_check_stoppage_check.h"
#include "time_check/time_check_wifi.h"
#include "time_check/time_check_wifi_connect.h"
#include "time_check/time_check_wl_guest.h"
#include "time_check/wan_surf_check.h"

namespace
{

using namespace soak;

const status_main &told = status_memory.main;

int days_to_run()
{
    constexpr int MONTH = 30;
    const char *days = getenv("STATUS_DAYS");
    return days == nullptr ? MONTH : std::max(1, atoi(days));
}

template <auto Last>
uint8_t verdict_of()
{
    return static_cast<uint8_t>(Last());
}

template <int Wan>
uint8_t verdict_of_wan()
{
    return static_cast<uint8_t>(wan_surf_verdict(Wan));
}

// A rule with one verdict, and what is told of it.
struct Rule {
    const char *name;
    uint8_t (*verdict)();
    const status_row *row;
};

const std::array RULES = {
    Rule{.name = "reboot", .verdict = verdict_of<time_check_reboot_verdict>, .row = &told.rows[STATUS_REBOOT]},
    Rule{.name = "power", .verdict = verdict_of<time_check_power_verdict>, .row = &told.rows[STATUS_POWER]},
    Rule{.name = "wifi", .verdict = verdict_of<time_check_wifi_verdict>, .row = &told.rows[STATUS_WIFI]},
    Rule{.name = "led", .verdict = verdict_of<time_check_led_verdict>, .row = &told.rows[STATUS_LED]},
    Rule{.name = "uplink",
         .verdict = verdict_of<time_check_wifi_connect_verdict>,
         .row = &told.rows[STATUS_WIFI_CONNECT]},
    Rule{.name = "gateway", .verdict = verdict_of<time_check_ap_connect_verdict>, .row = &told.rows[STATUS_AP_CONNECT]},
    Rule{.name = "guest", .verdict = verdict_of<time_check_wl_guest_verdict>, .row = &told.rows[STATUS_GUEST]},
    Rule{.name = "stoppage", .verdict = verdict_of<time_check_stoppage_verdict>, .row = &told.stoppage_row},
    Rule{.name = "wan1", .verdict = verdict_of_wan<1>, .row = &status_memory.wans.wan[0].row},
    Rule{.name = "wan2", .verdict = verdict_of_wan<2>, .row = &status_memory.wans.wan[1].row},
};

// What a tick has left, to be compared with the next.
struct Seen {
    uint8_t verdict;
    int64_t since;
    int32_t since_uptime;
    uint32_t count;
};

class Month
{
public:
    explicit Month(unsigned seed) : dice_(seed)
    {
    }

    void run(int days)
    {
        box.log.keep(false);
        configure_all();
        enter(MODES[0]);
        ASSERT_TRUE(box.boot());
        for (int day = 0; day < days && !testing::Test::HasFailure(); day++) {
            const Mode &mode = dice_.one_of(MODES);
            SCOPED_TRACE(std::string("as ") + mode.name);
            enter(mode);
            for (int hour = 0; hour < 24 && !testing::Test::HasFailure(); hour++)
                pass_hour(mode);
            box.faults.clear();
            box.journal.clear();
        }
    }

    // How many verdicts of a rule there were, and in how many ticks it counted something.
    size_t verdicts_seen(size_t rule) const
    {
        return verdicts_[rule].size();
    }
    uint64_t ticks_with_count(size_t rule) const
    {
        return counted_[rule];
    }

private:
    void change_something()
    {
        static const std::array<std::pair<const char *, const char *>, 10> settings = {
            {{"sys.schedulereboot.enable", "0"},
             {"sys.schedulereboot.enable", "1"},
             {"sys.schedulereboot.type", "1"},
             {"sys.powersleep.enable", "0"},
             {"sys.powersleep.enable", "1"},
             {"sys.sched.led.type", "open"},
             {"sys.sched.led.type", "time"},
             {"wan1_isonln", "0"},
             {"wan1_err_check", "2"},
             {"wl.guest.effective_time", "600"}}};
        const auto &[key, value] = dice_.one_of(settings);
        box.store.set(key, value);
        for (const char *module : {"reboot", "power", "led"})
            box.post(std::string("time_check_") + module + "?op=1");
    }

    void pass_hour(const Mode &mode)
    {
        const Fault *fault = &dice_.one_of(FAULTS);
        while ((fault->modes & mode.id) == 0)
            fault = &dice_.one_of(FAULTS);
        SCOPED_TRACE(std::string(fault->name) + " from " + box.clock.local());
        change_something();
        fault->begin(dice_);
        pass(2700);
        fault->end();
        pass(900);
    }

    void pass(int ticks)
    {
        for (int i = 0; i < ticks && !testing::Test::HasFailure(); i++) {
            const Before before = {
                .changes = box.clock.changes(), .wall = box.clock.wall(), .uptime = box.clock.uptime()};
            box.tick();
            SCOPED_TRACE("at " + box.clock.local());
            expect_rows(before);
            expect_numbers();
            expect_programs();
            EXPECT_EQ(told.changed, 0U) << "told, and not published";
        }
    }

    struct Before {
        uint64_t changes;
        time_t wall;
        int uptime;
    };

    void expect_rows(const Before &before)
    {
        const bool restarted = !seen_anything_ || restarts_ != box.restarts();
        for (size_t i = 0; i < RULES.size(); i++) {
            const Rule &rule = RULES[i];
            SCOPED_TRACE(rule.name);
            const Seen now = {.verdict = rule.row->verdict,
                              .since = rule.row->since,
                              .since_uptime = rule.row->since_uptime,
                              .count = rule.row->count};
            EXPECT_EQ(now.verdict, rule.verdict());
            if (!restarted && now.verdict == seen_[i].verdict && now.since_uptime == seen_[i].since_uptime) {
                EXPECT_EQ(now.since, seen_[i].since);
            } else {
                EXPECT_TRUE(restarted || now.verdict != seen_[i].verdict ||
                            (rule.row->target != 0 && now.count <= seen_[i].count))
                    << "the same verdict since another moment, though it goes on";
                expect_is_now(before, restarted, now);
            }
            seen_[i] = now;
            verdicts_[i].insert(now.verdict);
            counted_[i] += rule.row->target != 0 && now.count != 0 ? 1 : 0;
        }
        seen_anything_ = true;
        restarts_ = box.restarts();
    }

    // Within this tick, by both clocks.
    static void expect_is_now(const Before &before, bool restarted, const Seen &now)
    {
        EXPECT_LE(now.since_uptime, box.clock.uptime());
        if (restarted)
            return;
        EXPECT_GE(now.since_uptime, before.uptime);
        if (before.changes != box.clock.changes())
            return;
        EXPECT_GE(now.since, before.wall);
        EXPECT_LE(now.since, box.clock.wall());
    }

    static void expect_quiet_counts(const status_row &row, const status_quiet &quiet, uint8_t no_client, uint8_t low)
    {
        if (row.verdict == no_client) {
            EXPECT_EQ(row.count, quiet.no_client);
            EXPECT_EQ(row.target, 180U);
            EXPECT_GT(row.count, 0U);
        } else if (row.verdict == low) {
            EXPECT_EQ(row.count, quiet.low);
            EXPECT_EQ(row.target, 1800U);
            EXPECT_GT(row.count, 0U);
        }
    }

    static void expect_gateway()
    {
        const status_row &row = told.rows[STATUS_AP_CONNECT];
        const auto verdict = static_cast<ap_connect_verdict>(row.verdict);
        EXPECT_TRUE(told.gateway.answered == 0 || told.gateway.silent == 0);
        if (verdict == ap_connect_verdict::returning || verdict == ap_connect_verdict::failing) {
            EXPECT_EQ(row.count,
                      verdict == ap_connect_verdict::returning ? told.gateway.answered : told.gateway.silent);
            EXPECT_TRUE(row.count == 1 || row.count == 2);
            EXPECT_EQ(row.target, 3U);
        } else {
            EXPECT_EQ(row.target, 0U);
        }
    }

    static void expect_uplink()
    {
        const status_row &row = told.rows[STATUS_WIFI_CONNECT];
        const auto verdict = static_cast<wifi_connect_verdict>(row.verdict);
        if (verdict == wifi_connect_verdict::wan_lost || verdict == wifi_connect_verdict::association_lost) {
            EXPECT_EQ(row.count, told.uplink.lost);
            EXPECT_EQ(row.target, 60U);
        } else if (verdict == wifi_connect_verdict::wan_connected || verdict == wifi_connect_verdict::associated) {
            EXPECT_EQ(told.uplink.lost, 0);
        }
    }

    static void expect_stoppage()
    {
        const auto verdict = static_cast<stoppage_verdict>(told.stoppage_row.verdict);
        const bool is_timed = verdict == stoppage_verdict::fault_timed || verdict == stoppage_verdict::fault_lasts;
        EXPECT_EQ(told.stoppage_row.target, get_check_polling_time(told.stoppage.fault));
        EXPECT_EQ(is_timed || verdict == stoppage_verdict::fault_changed, told.stoppage.fault > 0);
        const int lasts = box.clock.uptime() - told.stoppage.since_uptime;
        if (verdict == stoppage_verdict::fault_lasts) {
            EXPECT_GE(lasts, static_cast<int>(told.stoppage_row.target));
        }
    }

    static void expect_wans()
    {
        if (status_memory.wans.next > box.clock.wall()) { // between two passes
            EXPECT_EQ(status_memory.wans.changed, 0U);
        }
        for (const status_wan &wan : status_memory.wans.wan) {
            const auto verdict = static_cast<reachability_verdict>(wan.row.verdict);
            const bool answered = std::ranges::find(wan.answers, STATUS_ANSWERED) != std::end(wan.answers);
            EXPECT_LE(wan.forgiven, 5U);
            if (wan.looked < wan.row.since) // in the middle of a pass, or the clock was set back
                continue;
            if (verdict == reachability_verdict::forgiven) {
                EXPECT_EQ(wan.row.count, wan.forgiven);
            }
            if (verdict == reachability_verdict::unresolved) {
                EXPECT_NE(wan.names, STATUS_NAMES_WORK);
            }
            if (verdict == reachability_verdict::no_link) {
                EXPECT_FALSE(answered);
            }
        }
    }

    static void expect_numbers()
    {
        expect_quiet_counts(told.rows[STATUS_REBOOT], told.reboot.quiet,
                            static_cast<uint8_t>(reboot_verdict::counting_no_client),
                            static_cast<uint8_t>(reboot_verdict::counting_quiet));
        expect_quiet_counts(told.rows[STATUS_POWER], told.power.quiet,
                            static_cast<uint8_t>(power_verdict::counting_no_client),
                            static_cast<uint8_t>(power_verdict::counting_quiet));
        expect_gateway();
        expect_uplink();
        expect_stoppage();
        expect_wans();
        uint32_t switches = 0;
        for (uint32_t id = 0; id < TIME_CHECK_MAX_MODULE_NUM; id++)
            switches |= (_DEBUG_LIST_[id] != 0 ? 1U : 0U) << id;
        EXPECT_EQ(told.debug, switches);
    }

    // A tick that looks at a program leaves what it found in the program's part and in the module's row.
    static void expect_programs()
    {
        for (uint32_t i = 0; i < told.cpu.num; i++) {
            const cpu_verdict verdict = time_check_cpu_verdict(i);
            EXPECT_EQ(told.cpu.enabled != 0, verdict != cpu_verdict::off);
            if (verdict == cpu_verdict::not_due)
                continue;
            EXPECT_EQ(told.rows[STATUS_CPU].verdict, static_cast<uint8_t>(verdict));
            if (verdict == cpu_verdict::off)
                continue;
            const status_program &program = told.cpu.programs[i];
            EXPECT_EQ(program.verdict, static_cast<uint8_t>(verdict));
            EXPECT_EQ(program.count == 0, verdict == cpu_verdict::within_limit) << program.name;
            EXPECT_EQ(program.share >= program.limit, verdict != cpu_verdict::within_limit) << program.name;
        }
        for (uint32_t i = 0; i < told.daemon.num; i++) {
            const daemon_verdict verdict = time_check_daemon_verdict(i);
            EXPECT_EQ(told.daemon.enabled != 0, verdict != daemon_verdict::off);
            if (verdict == daemon_verdict::not_due)
                continue;
            EXPECT_EQ(told.rows[STATUS_DAEMON].verdict, static_cast<uint8_t>(verdict));
            if (verdict == daemon_verdict::off)
                continue;
            EXPECT_EQ(told.daemon.programs[i].verdict, static_cast<uint8_t>(verdict));
            EXPECT_EQ(told.daemon.programs[i].count != 0, verdict == daemon_verdict::missing);
        }
    }

    Dice dice_;
    bool seen_anything_ = false;
    uint64_t restarts_ = 0; // when it was last looked
    std::array<Seen, RULES.size()> seen_ = {};
    std::array<std::set<uint8_t>, RULES.size()> verdicts_;
    std::array<uint64_t, RULES.size()> counted_ = {};
};

class StatusPage : public RouterTest, public testing::WithParamInterface<unsigned>
{
};

} // namespace

TEST_P(StatusPage, SaysWhatTheModulesFind)
{
    Month month(GetParam());
    month.run(days_to_run());
    for (size_t i = 0; i < RULES.size(); i++)
        EXPECT_GE(month.verdicts_seen(i), 2U) << RULES[i].name << " has always found the same";
    for (const size_t rule : {0U, 4U, 5U, 8U})
        EXPECT_GT(month.ticks_with_count(rule), 0U) << RULES[rule].name << " has never counted";
}

INSTANTIATE_TEST_SUITE_P(Seeds, StatusPage, testing::Range(0U, 1U));
