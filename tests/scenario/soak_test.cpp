// Days and months of the whole daemon in all its modes, with one to four faults of docs/faults.md in every hour of
// every other day (decision 0223). While they stand the published WAN state is what the world is like; the days in
// between show that nothing of the faults is left, and that every module does its work. Memory, descriptors, threads
// and children stay what they were (decision 0080).
//
// In the environment: SOAK_DAYS, for how many days, four if not given; SOAK_SEED, which of them; SOAK_FIGURES, a file
// for how often each fault was met, and each with each.
#include <cstdlib>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/fault_catalogue.h"

#ifdef __SANITIZE_ADDRESS__
// The compiler has no header for this call.
extern "C" size_t __sanitizer_get_current_allocated_bytes(void); // NOLINT(bugprone-reserved-identifier)
#endif

namespace
{

using namespace soak;
using fault_catalogue::all_faults;

constexpr double HOUR_S = 3600;
constexpr double BETWEEN_S = 60;              // the begin of one fault and of the next
constexpr uint64_t TICKS_MIN = 20;            // in 45 minutes; a tick may have a command of a minute, and another
constexpr uint64_t LINES_A_DAY_MAX = 2000000; // a debug switch that is on prints ten lines a tick
constexpr size_t ACTS_A_DAY_MAX = 50000;
constexpr size_t GROWTH_MAX = 512 * 1024; // bytes, for what the model remembers (decision 0223)

int days_to_run()
{
    constexpr int SHORT_DAYS = 4;
    const char *days = getenv("SOAK_DAYS");
    return days == nullptr ? SHORT_DAYS : std::max(2, atoi(days));
}

// ---- what must hold ----

bool is_between(int hour, int from, int to)
{
    return from < to ? hour >= from && hour < to : hour >= from || hour < to;
}

std::string published(int wan)
{
    const std::string key = "wan" + std::to_string(wan);
    return box.store.get(key + "_check") + box.store.get(key + "_isonln");
}

// "" among the texts: anything.
void expect_wans(const Mode &mode, const std::array<std::string, 2> &wans)
{
    for (size_t i = 0; i < (mode.id == TWO_WANS ? wans.size() : 1); i++)
        EXPECT_TRUE(wans[i].empty() || published(static_cast<int>(i + 1)) == wans[i])
            << "wan" << i + 1 << ": probed, online: " << published(static_cast<int>(i + 1)) << ", not " << wans[i];
}

const std::array<std::string, 2> ALL_ONLINE = {"11", "11"};

// A quarter of an hour after the last fault: what has no need to wait for an edge, nor for quiet.
void expect_mended(const Mode &mode, int hour)
{
    SCOPED_TRACE("mended, " + box.clock.local());
    EXPECT_TRUE(box.running());
    expect_wans(mode, ALL_ONLINE);
    EXPECT_TRUE(!is_between(hour, 7, 21) || schedule_world::leds_are_on());
    EXPECT_EQ(box.commands.chain("dns_drop"), Lines{});
    EXPECT_EQ(box.commands.rules().size(), mode.policy_rules) << testing::PrintToString(box.commands.rules());
}

// At the half hour of a day without faults.
void expect_all_well(const Mode &mode, int hour)
{
    const bool asleep = is_between(hour, 1, 5);
    EXPECT_EQ(box.store.get("sys.is.pwr.save.mode"), asleep ? "1" : "0");
    EXPECT_EQ(schedule_world::radio_is_on(), !asleep && !is_between(hour, 23, 6));
    EXPECT_EQ(schedule_world::leds_are_on(), !asleep && !is_between(hour, 22, 7));
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), is_between(hour, 8, 10) ? "1" : "0");
    EXPECT_EQ(box.commands.chain("dns_drop"), Lines{});
    EXPECT_EQ(box.commands.rules().size(), mode.policy_rules);
    expect_wans(mode, ALL_ONLINE);
}

// ---- what the process holds ----

size_t allocated()
{
#ifdef __SANITIZE_ADDRESS__
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

size_t open_in_process()
{
    size_t open = 0;
    for (int fd = 0; fd < 1024; fd++)
        open += lseek(fd, 0, SEEK_CUR) >= 0 || errno != EBADF;
    return open;
}

bool has_children()
{
    return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

class Days
{
public:
    explicit Days(unsigned seed) : dice_(seed), first_mode_(seed)
    {
    }

    // False when something did not hold; what, gtest has been told.
    bool run(int days)
    {
        box.log.keep(false);
        configure_all();
        fault_catalogue::names_have_addresses();
        enter(MODES[first_mode_ % MODES.size()]);
        if (!box.boot())
            return false;
        open_ = open_in_process();
        for (int day = 0; day < days && !testing::Test::HasFailure(); day++) {
            const Mode &mode = MODES[(first_mode_ + static_cast<unsigned>(day) / 2) % MODES.size()];
            SCOPED_TRACE(std::string("as ") + mode.name);
            day % 2 == 0 ? day_with_faults(mode) : day_without(mode);
            end_day(day);
        }
        const char *const figures = getenv("SOAK_FIGURES");
        if (figures != nullptr && !testing::Test::HasFailure())
            tally_.write(figures);
        return !testing::Test::HasFailure();
    }

    // FNV-1a over every act and its time.
    uint64_t journal_hash() const
    {
        return hash_;
    }

private:
    void day_with_faults(const Mode &mode)
    {
        enter(mode);
        for (int hour = 0; hour < 23; hour++) {
            const std::vector<size_t> mixture = tally_.deal(mode.id, dice_);
            SCOPED_TRACE(fault_catalogue::text_of(mixture) + " from " + box.clock.local());
            const uint64_t ticks = box.ticks();
            for (const size_t fault : mixture) {
                standing_.begin(fault);
                box.run(BETWEEN_S);
            }
            box.run(0.75 * HOUR_S - BETWEEN_S * static_cast<double>(mixture.size()));
            if (!all_faults()[mixture.front()].stands_alone) {
                EXPECT_TRUE(box.running()) << "the daemon has ended";
                EXPECT_GT(box.ticks(), ticks + TICKS_MIN) << "the daemon ticks no more";
                expect_wans(mode, fault_catalogue::published(mixture));
            }
            tally_.count(standing_.end());
            box.run(0.25 * HOUR_S);
            expect_mended(mode, hour);
        }
        box.run(HOUR_S);
    }

    void day_without(const Mode &mode)
    {
        const uint64_t restarts = box.restarts();
        plan_day(mode);
        for (int hour = 0; hour < 24; hour++) {
            box.run(HOUR_S / 2);
            SCOPED_TRACE("without a fault, " + box.clock.local());
            if (hour > 0)
                expect_all_well(mode, hour);
            box.run(HOUR_S / 2);
        }
        EXPECT_EQ(box.restarts(), restarts + 1) << "one restart, in the window";
        for (const char *act : {"reboot", "leds 0", "leds 3", "command cfm post netctrl 19?op=2,wl_rate=24",
                                "command cfm post netctrl 19?op=1,wl_rate=24", "netctrl 19?op=9",
                                "command cfm post netctrl 51?op=6", "command killall -9 httpd", mode.lost, mode.back})
            EXPECT_NE(std::ranges::find(box.journal.lines(), act), box.journal.lines().end())
                << "not done all day: " << act;
    }

    void end_day(int day)
    {
        SCOPED_TRACE("the day that ends at " + box.clock.local());
        for (const std::string &act : box.journal.timed_lines())
            for (const char c : act)
                hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 1099511628211U;
        const auto strange = std::ranges::find_if_not(box.journal.lines(), busy_nights::is_sane);
        EXPECT_EQ(strange, box.journal.lines().end()) << "strange act: " << *strange;
        EXPECT_LT(box.journal.lines().size(), ACTS_A_DAY_MAX);
        EXPECT_LT(box.log.count() - lines_, LINES_A_DAY_MAX);
        lines_ = box.log.count();
        box.journal.clear();
        expect_nothing_grows(day);
    }

    void expect_nothing_grows(int day)
    {
        EXPECT_EQ(box.open_descriptors(), Lines{});
        EXPECT_EQ(open_in_process(), open_) << "descriptors of this process";
        EXPECT_EQ(box.threads(), 2U);
        EXPECT_FALSE(has_children());
        if (day == 0)
            allocated_ = allocated();
        else
            EXPECT_LT(allocated(), allocated_ + GROWTH_MAX);
    }

    Dice dice_;
    fault_catalogue::Standing standing_{dice_};
    fault_catalogue::Tally tally_;
    unsigned first_mode_;
    size_t open_ = 0;
    size_t allocated_ = 0;
    uint64_t lines_ = 0;
    uint64_t hash_ = 14695981039346656037U;
};

class Soak : public RouterTest, public testing::WithParamInterface<unsigned>
{
};

// The hash of the days' journal, made in a process of its own; 0 when something did not hold.
uint64_t hash_of_days(unsigned seed, int days)
{
    uint64_t hash = 0;
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        Days run(seed);
        hash = run.run(days) ? run.journal_hash() : 0;
        _exit(write(ends[1], &hash, sizeof hash) == sizeof hash ? 0 : 1);
    }
    close(ends[1]);
    EXPECT_EQ(read(ends[0], &hash, sizeof hash), static_cast<ssize_t>(sizeof hash));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return hash;
}

} // namespace

TEST_P(Soak, LeavesTheRouterInOrder)
{
    const char *const seed = getenv("SOAK_SEED");
    constexpr unsigned MODES_TO_BEGIN_IN = 4;
    const unsigned first = seed == nullptr ? 0 : static_cast<unsigned>(atoi(seed)) * MODES_TO_BEGIN_IN;
    EXPECT_TRUE(Days(first + GetParam()).run(days_to_run()));
}

// Each seed begins in another mode.
INSTANTIATE_TEST_SUITE_P(Seeds, Soak, testing::Range(0U, 4U));

TEST(SoakSeed, GivesTheSameJournalEachTime)
{
    const uint64_t hash = hash_of_days(11, 2);
    EXPECT_NE(hash, 0U);
    EXPECT_EQ(hash_of_days(11, 2), hash);
    EXPECT_NE(hash_of_days(15, 2), hash); // in the same mode
}
