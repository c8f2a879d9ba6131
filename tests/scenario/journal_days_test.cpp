// How far the journal reaches back: a household's days in each mode, and a day and a half without the internet.
#include <memory>

#include "platform/common/journal.h"
#include "tests/support/faults_world.h"

namespace
{

using namespace soak;

constexpr double HOUR_S = 3600;
constexpr double DAY_S = 24 * HOUR_S;

std::vector<journal_record> records_of(const journal_ring &ring)
{
    std::vector<journal_record> records(JOURNAL_SLOTS);
    records.resize(journal_read(&ring, sizeof ring, 0, records.data(), records.size()));
    return records;
}

class JournalDays : public RouterTest, public testing::WithParamInterface<Mode>
{
protected:
    JournalDays()
    {
        box.log.keep(false);
        journal_ring_make(ring_.get(), "");
        box.journal.on_record(
            [this](const journal_record &record) { journal_ring_write(ring_.get(), &newest_, &record); });
        configure_all();
        enter(GetParam());
    }

    // The hours from the oldest record to now.
    double reach() const
    {
        const std::vector<journal_record> records = records_of(*ring_);
        return records.empty() ? 0 : static_cast<double>(box.clock.wall() - records.front().time) / HOUR_S;
    }

    std::unique_ptr<journal_ring> ring_ = std::make_unique<journal_ring>();
    uint32_t newest_ = 0;
};

TEST_P(JournalDays, KeepsAHouseholdsLastTwoDays)
{
    ASSERT_TRUE(box.boot());
    for (int day = 0; day < 4; day++) {
        plan_day(GetParam());
        box.run(DAY_S);
    }
    EXPECT_GT(reach(), 48);
}

TEST_P(JournalDays, KeepsADayWithoutTheInternet)
{
    ASSERT_TRUE(box.boot());
    box.run(6 * HOUR_S);
    GetParam().lose_uplink();
    box.network.set_internet(false);
    box.network.set_dns(false);
    box.network.set_link(1, false);
    box.run(30 * HOUR_S);
    EXPECT_GT(reach(), 24);
    EXPECT_LT(newest_, 150U) << "what is done each second is one record, counted up";
}

INSTANTIATE_TEST_SUITE_P(Modes, JournalDays, testing::ValuesIn(MODES),
                         [](const testing::TestParamInfo<Mode> &mode) { return std::to_string(mode.index); });

} // namespace
