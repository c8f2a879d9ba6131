// Chance that hangs on two numbers alone and is the same on every machine.
#ifndef TOOLS_FLEET_CHANCE_H
#define TOOLS_FLEET_CHANCE_H

#include <cstdint>

namespace fleet
{

// SplitMix64. Streams of different numbers have nothing to do with each other, so that a router's night is the same in
// whichever shard it is (decision 0175).
class chance
{
public:
    chance(uint64_t seed, uint64_t number) : state_(mixed(mixed(seed) + number))
    {
    }
    uint64_t next()
    {
        state_ += STEP;
        return mixed(state_);
    }
    // Evenly from `from` to `to`, both of them included; no less than `from`. What 2^64 leaves over favours the low
    // ones by less than anybody could count.
    int64_t between(int64_t from, int64_t to)
    {
        const uint64_t drawn = next();
        return to <= from ? from : from + static_cast<int64_t>(drawn % static_cast<uint64_t>(to - from + 1));
    }
    bool happens(int64_t percent)
    {
        return between(0, 99) < percent;
    }

private:
    static constexpr uint64_t STEP = 0x9E3779B97F4A7C15;
    static uint64_t mixed(uint64_t value)
    {
        value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9;
        value = (value ^ value >> 27) * 0x94D049BB133111EB;
        return value ^ value >> 31;
    }
    uint64_t state_;
};

} // namespace fleet

#endif
