#include "tools/tcctl/event_place.h"

#include <cstdio>
#include <fstream>

#include <fmt/format.h>

namespace tcctl
{

namespace
{

// Its number, time and up-time name a record: others may follow that count it up.
std::string name_of(const journal_record &record)
{
    return fmt::format("{} {} {}", record.sequence, record.time, record.uptime);
}

} // namespace

event_place::event_place(std::string path) : path_(std::move(path))
{
}

size_t event_place::done_in(const std::vector<journal_record> &records) const
{
    std::ifstream file(path_);
    std::string name;
    if (path_.empty() || !std::getline(file, name))
        return records.size();
    for (size_t i = records.size(); i > 0; i--)
        if (name_of(records[i - 1]) == name)
            return i;
    return 0;
}

void event_place::take(const journal_record &record)
{
    waiting_.push_back(record);
}

bool event_place::done(uint64_t number)
{
    if (number <= done_)
        return true;
    std::string name;
    for (; done_ < number && !waiting_.empty(); done_++) {
        name = name_of(waiting_.front());
        waiting_.pop_front();
    }
    if (path_.empty())
        return true;
    const std::string beside = path_ + ".new";
    {
        std::ofstream file(beside, std::ios::trunc);
        file << name << '\n';
        file.close();
        if (!file)
            return false;
    }
    return std::rename(beside.c_str(), path_.c_str()) == 0;
}

} // namespace tcctl
