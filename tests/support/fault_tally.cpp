#include <algorithm>
#include <fstream>

#include "tests/support/fault_catalogue.h"

namespace fault_catalogue
{
namespace
{

bool can_stand_together(const Fault &one, const Fault &other)
{
    return (one.modes & other.modes) != 0 && !one.stands_alone && !other.stands_alone;
}

// From what is well to what is worst; what nobody can say goes before all.
enum Published : uint8_t { ONLINE, NOT_ONLINE, DOWN, ANYTHING };

Published published_of(Wans wans, size_t wan)
{
    switch (wans) {
    case Wans::UNKNOWN:
        return ANYTHING;
    case Wans::NONE_ONLINE:
        return NOT_ONLINE;
    case Wans::FIRST_DOWN:
        return wan == 0 ? DOWN : ONLINE;
    case Wans::SECOND_DOWN:
        return wan == 1 ? DOWN : ONLINE;
    default:
        return ONLINE;
    }
}

} // namespace

Tally::Tally() : hits_(all_faults().size(), std::vector<uint64_t>(all_faults().size()))
{
}

std::vector<size_t> Tally::deal(unsigned mode, Dice &dice) const
{
    constexpr size_t TOGETHER_MAX = 4;
    constexpr int TRIES = 3;
    std::vector<size_t> dealt;
    for (size_t left = 1 + dice.roll(TOGETHER_MAX); left > 0; left--) {
        size_t seldom = all_faults().size();
        for (int tries = 0; tries < TRIES; tries++) {
            const size_t fault = dice.roll(all_faults().size());
            const bool is_dealt = std::ranges::find(dealt, fault) != dealt.end();
            const bool fits = dealt.empty() || can_stand_together(all_faults()[fault], all_faults()[dealt.front()]);
            if ((all_faults()[fault].modes & mode) == 0 || is_dealt || !fits)
                continue;
            if (seldom == all_faults().size() || hits(fault) < hits(seldom))
                seldom = fault;
        }
        if (seldom < all_faults().size())
            dealt.push_back(seldom);
    }
    return dealt.empty() ? deal(mode, dice) : dealt;
}

void Tally::count(const std::set<size_t> &faults)
{
    for (const size_t one : faults)
        for (const size_t other : faults)
            hits_[one][other]++;
}

void Tally::write(const std::string &path) const
{
    const std::vector<Fault> &all = all_faults();
    std::ofstream file(path);
    for (size_t one = 0; one < all.size(); one++) {
        file << all[one].kind << '\t' << all[one].name << '\t' << hits(one) << '\n';
        for (size_t other = one + 1; other < all.size(); other++)
            if (can_stand_together(all[one], all[other]))
                file << all[one].kind << '\t' << all[one].name << '\t' << all[other].kind << '\t' << all[other].name
                     << '\t' << hits_[one][other] << '\n';
    }
}

std::array<std::string, 2> published(const std::vector<size_t> &faults)
{
    static const std::array<std::string, 4> TEXTS = {"11", "10", "00", ""};
    std::array<std::string, 2> texts;
    for (size_t wan = 0; wan < texts.size(); wan++) {
        Published worst = ONLINE;
        for (const size_t fault : faults)
            worst = std::max(worst, published_of(all_faults()[fault].wans, wan));
        texts[wan] = TEXTS[worst];
    }
    return texts;
}

std::string text_of(const std::vector<size_t> &faults)
{
    std::string text;
    for (const size_t fault : faults)
        text += (text.empty() ? "" : ", ") + std::string(all_faults()[fault].kind) + ": " + all_faults()[fault].name;
    return text;
}

} // namespace fault_catalogue
