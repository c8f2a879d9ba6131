// Two hundred days in which chance moves the world, and the digest of what the daemon did in them: the same on every
// processor, whatever compiler made the daemon and however far it went in optimising (decision 0219). Digests and how
// many acts they are of stand in journals.def; tests/scenario/one_journal --accept writes it, for who has read what is
// new in the journals that TIME_CHECK_JOURNALS=FOLDER in the environment makes the tests leave there.
#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/support/faults_world.h"

namespace
{

using namespace soak;

constexpr int DAYS = 10; // of each world
constexpr sim::Micros DAY = sim::Micros{86400} * 1000000;
constexpr double MINUTE_S = 60;

struct Expected {
    unsigned world;
    uint64_t digest;
    size_t acts;
};

constexpr std::array EXPECTED = {
#define JOURNAL(world, digest, acts) Expected{world, digest, acts},
#include "tests/scenario/journals.def"
};

std::string random_time(Dice &dice)
{
    const size_t hour = dice.roll(24);
    const size_t minute = dice.roll(60);
    return std::to_string(hour) + ":" + (minute < 10 ? "0" : "") + std::to_string(minute);
}

// Hours of a module's schedule, and the message that has them read.
void change_schedule(Dice &dice)
{
    const std::string from = random_time(dice);
    const std::string to = random_time(dice);
    switch (dice.roll(4)) {
    case 0:
        schedule_world::only_rule("nkgw.wlan", from, to);
        box.post("time_check_wifi?op=2");
        break;
    case 1:
        schedule_world::only_rule("nkgw.led", from, to);
        box.post("time_check_led?op=2");
        break;
    case 2:
        schedule_world::power_saving(std::to_string(dice.roll(2)), from, to);
        box.post("time_check_power?op=1");
        break;
    default:
        configure({{"sys.schedulereboot.start_time", from}, {"sys.schedulereboot.end_time", to}});
        box.store.set("sys.schedulereboot.type", std::to_string(dice.roll(2)));
        box.post("time_check_reboot?op=1");
    }
}

void change_zone(Dice &dice)
{
    constexpr std::array ZONES = {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0", "<-03>3"};
    box.local_time.set_zone(dice.one_of(ZONES));
}

class World
{
public:
    explicit World(unsigned seed) : dice_(seed)
    {
    }

    bool begin()
    {
        box.log.ignore();
        configure_all();
        mode_ = &dice_.one_of(MODES);
        enter(*mode_);
        return box.boot();
    }

    // What stands when the day begins is a household's; then a few hours, each with a change, a fault or both.
    void a_day()
    {
        const sim::Micros midnight = box.clock.now();
        if (dice_.roll(3) == 0) {
            mode_ = &dice_.one_of(MODES);
            enter(*mode_);
        }
        plan_day(*mode_);
        while (box.clock.now() < midnight + DAY) {
            box.run(MINUTE_S * static_cast<double>(1 + dice_.roll(240)));
            if (dice_.roll(3) == 0)
                change_schedule(dice_);
            if (dice_.roll(12) == 0)
                change_zone(dice_);
            if (dice_.roll(2) == 0)
                a_fault();
        }
        box.run(MINUTE_S);
    }

private:
    void a_fault()
    {
        const Fault *fault = &dice_.one_of(FAULTS);
        while ((fault->modes & mode_->id) == 0)
            fault = &dice_.one_of(FAULTS);
        fault->begin(dice_);
        box.run(MINUTE_S * static_cast<double>(1 + dice_.roll(60)));
        fault->end();
    }

    Dice dice_;
    const Mode *mode_ = nullptr;
};

// FNV-1a, and beside it the text.
class Digest
{
public:
    explicit Digest(unsigned world)
    {
        const char *const folder = getenv("TIME_CHECK_JOURNALS");
        if (folder != nullptr)
            text_.open(std::string(folder) + "/world_" + std::to_string(world));
    }

    void add(const std::string &line)
    {
        for (const char c : line + "\n")
            hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 1099511628211U;
        lines_++;
        if (text_.is_open())
            text_ << line << '\n';
    }

    uint64_t hash() const
    {
        return hash_;
    }

    size_t lines() const
    {
        return lines_;
    }

private:
    uint64_t hash_ = 14695981039346656037U;
    size_t lines_ = 0;
    std::ofstream text_;
};

// "2026-03-01 02:00:00 +7200 reboot by 0 5 1800/1800": whose act it is, by which verdict, and what that counted.
void digest_journal(Digest &digest)
{
    const Lines lines = box.journal.timed_lines();
    const std::vector<sim::Journal::Record> records = box.journal.records();
    for (size_t i = 0; i < lines.size(); i++)
        digest.add(lines[i] + " by " + std::to_string(records[i].who) + " " + std::to_string(records[i].verdict) + " " +
                   std::to_string(records[i].count) + "/" + std::to_string(records[i].target));
    box.journal.clear();
}

// As in journals.def.
std::string row_of(const Expected &journal)
{
    char row[64];
    snprintf(row, sizeof row, "JOURNAL(%u, 0x%016" PRIx64 "U, %zu)", journal.world, journal.digest, journal.acts);
    return row;
}

class OneJournal : public RouterTest, public testing::WithParamInterface<Expected>
{
};

TEST_P(OneJournal, OfTenRandomDaysIsTheOneThatIsKnown)
{
    World world(GetParam().world);
    Digest digest(GetParam().world);
    ASSERT_TRUE(world.begin());
    for (int day = 0; day < DAYS; day++) {
        world.a_day();
        ASSERT_TRUE(box.running());
        digest_journal(digest);
    }
    EXPECT_GT(digest.lines(), 1000U);
    const Expected seen = {.world = GetParam().world, .digest = digest.hash(), .acts = digest.lines()};
    EXPECT_EQ(row_of(seen), row_of(GetParam()))
        << "in these days the daemon does something else than it did. When that is right: tests/scenario/one_journal "
           "--accept";
}

std::string name_of(const testing::TestParamInfo<Expected> &journal)
{
    return std::to_string(journal.param.world);
}

// The others are for ./test --all.
constexpr auto OTHERS = EXPECTED.begin() + 4;
INSTANTIATE_TEST_SUITE_P(First, OneJournal, testing::ValuesIn(EXPECTED.begin(), OTHERS), name_of);
INSTANTIATE_TEST_SUITE_P(Others, OneJournal, testing::ValuesIn(OTHERS, EXPECTED.end()), name_of);

} // namespace
