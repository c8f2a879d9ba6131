// The configuration store: what every process sees, and what a restart brings back.
#ifndef PLATFORM_SIM_STORE_H
#define PLATFORM_SIM_STORE_H

#include <string>
#include <string_view>

#include "platform/sim/text_map.h"

namespace sim
{

class Store
{
public:
    // Null: no such key.
    const std::string *value_of(std::string_view key) const
    {
        return running_.value_of(key);
    }
    void set(std::string_view key, std::string_view value)
    {
        running_.at_key(key) = value;
    }
    void set_committed(std::string_view key, std::string_view value)
    {
        set(key, value);
        committed_.at_key(key) = value;
    }
    void unset(const std::string &key)
    {
        running_.erase(key);
        committed_.erase(key);
    }
    void commit()
    {
        committed_ = running_;
    }
    void machine_restarted()
    {
        running_ = committed_;
    }
    const std::string *committed(std::string_view key) const
    {
        return committed_.value_of(key);
    }

private:
    TextMap<std::string> running_;
    TextMap<std::string> committed_;
};

} // namespace sim

#endif
