#include "router/dhttpd/crowd.h"

#include <algorithm>

namespace dhttpd
{

size_t crowd::number_of(const address &from) const
{
    return static_cast<size_t>(std::count_if(visitors_.begin(), visitors_.end(), [&](const visitor &each) {
        return !each.is_sent_away && each.from == from;
    }));
}

address crowd::most_frequent() const
{
    address found = {};
    size_t most = 0;
    for (const visitor &each : visitors_) {
        const size_t number = each.is_sent_away || each.from == found ? 0 : number_of(each.from);
        if (number > most) {
            most = number;
            found = each.from;
        }
    }
    return found;
}

int crowd::send_away_oldest(const address &from)
{
    for (visitor &each : visitors_)
        if (!each.is_sent_away && each.from == from) {
            each.is_sent_away = true;
            return each.fd;
        }
    return -1;
}

int crowd::comes(int fd, const address &from, int64_t now_ms)
{
    int goes = -1;
    if (number_of(from) >= limits_.of_one)
        goes = send_away_oldest(from);
    else if (visitors_.size() >= limits_.all)
        goes = send_away_oldest(most_frequent());
    visitors_.push_back({.fd = fd, .is_sent_away = false, .from = from, .since_ms = now_ms});
    return goes;
}

void crowd::leaves(int fd)
{
    std::erase_if(visitors_, [fd](const visitor &each) { return each.fd == fd; });
}

int crowd::overdue(int64_t now_ms)
{
    for (visitor &each : visitors_)
        if (!each.is_sent_away && now_ms - each.since_ms >= limits_.longest) {
            each.is_sent_away = true;
            return each.fd;
        }
    return -1;
}

} // namespace dhttpd
