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
    // ---- for the test ----

    // Sets a key as another process would, and commits it, so that it outlives a restart of the machine. A published
    // key outlives none.
    void set(std::string_view key, std::string_view value)
    {
        set_uncommitted(key, value);
        if (!is_published_key(key.data(), key.size()))
            committed_.at_key(key) = value;
    }
    // In the running store only.
    void set_uncommitted(std::string_view key, std::string_view value)
    {
        running_.at_key(key) = value;
    }
    // Takes a key out of both.
    void unset(std::string_view key);
    std::string get(std::string_view key) const; // "" when missing
    bool has(std::string_view key) const
    {
        return value_of(key) != nullptr;
    }
    // What a restart would bring back, "" when nothing.
    std::string committed(std::string_view key) const;
    // The keys that the daemon has read or written in all its runs, sorted; and those of them that are not in
    // platform/config_keys.def.
    std::vector<std::string> used_keys() const;
    std::vector<std::string> unknown_keys() const;
    // A product's own key, which its tables of watched programs name: such a key is not unknown.
    void add_product_key(std::string_view key)
    {
        product_.at_key(key) = true;
    }

    // ---- for the model ----

    // Null: no such key. Valid until the key is set or unset.
    const std::string *value_of(std::string_view key) const
    {
        return running_.value_of(key);
    }
    void commit();
    void machine_restarted()
    {
        running_ = committed_;
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

private:
    TextMap<std::string> running_;
    TextMap<std::string> committed_;
    TextMap<bool> used_;
    std::array<std::string, 64> noted_;
    TextMap<bool> product_;
};

} // namespace sim

#endif
