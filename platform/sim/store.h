// The configuration store: what every process sees, and what a restart brings back.
#ifndef PLATFORM_SIM_STORE_H
#define PLATFORM_SIM_STORE_H

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/common/published_keys.h"
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
        if (!is_published_key(key.data(), key.size()))
            committed_.at_key(key) = value;
    }
    void unset(const std::string &key)
    {
        running_.erase(key);
        committed_.erase(key);
    }
    void commit()
    {
        committed_.clear();
        for (const auto &[key, value] : running_)
            if (!is_published_key(key.data(), key.size()))
                committed_.emplace(key, value);
    }
    void machine_restarted()
    {
        running_ = committed_;
    }
    const std::string *committed(std::string_view key) const
    {
        return committed_.value_of(key);
    }

    // The daemon reads or writes the key. It asks for the same texts again and again: what was noted a moment ago is
    // not looked up anew.
    void use(const char *key)
    {
        std::string &noted = noted_[std::hash<const char *>{}(key) / 8 % noted_.size()];
        if (noted == key)
            return;
        noted = key;
        used_.at_key(key) = true;
    }
    // A product's own key, which its tables of watched programs name.
    void add_product_key(std::string_view key)
    {
        product_.at_key(key) = true;
    }
    bool is_product_key(std::string_view key) const
    {
        return product_.value_of(key) != nullptr;
    }
    std::vector<std::string> used() const
    {
        std::vector<std::string> keys;
        for (const auto &[key, _] : used_)
            keys.push_back(key);
        return keys;
    }

private:
    TextMap<std::string> running_;
    TextMap<std::string> committed_;
    TextMap<bool> used_; // keys of the daemon, of all its runs
    std::array<std::string, 64> noted_;
    TextMap<bool> product_;
};

} // namespace sim

#endif
